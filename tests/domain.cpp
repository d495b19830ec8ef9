// The numbers of the fan for every float instead of samples: ./run-tests --long.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "supervisor/FanCurve.h"
#include "supervisor/FanRegister.h"
#include "supervisor/Settings.h"

namespace
{
// Bit patterns of floats. Apart from the sign, a larger pattern is a larger number. Above infinity's are no numbers.
constexpr std::uint32_t signBit = 0x80000000;
constexpr std::uint32_t infinityBits = 0x7f800000;

float floatOf (std::uint32_t bits)
{
    float number;
    std::memcpy (&number, &bits, sizeof (number));
    return number;
}

// numberAt() of these ranks is every number in ascending order, from minus infinity to infinity. The two zeros have the
// ranks -1 and 0.
constexpr std::int64_t highestRank = infinityBits;
constexpr std::int64_t lowestRank = -1 - highestRank;

float numberAt (std::int64_t rank)
{
    return floatOf (rank < 0 ? signBit + static_cast<std::uint32_t> (-1 - rank)
                             : static_cast<std::uint32_t> (rank));
}

constexpr double lower = 50.0, upper = 80.0, window = 5.0; // degrees Celsius, of the default curve

/** True if `speed` is the default curve's speed for a band with this upper edge. Between the limits the daemon computes
    in single precision.
*/
bool isSpeedAt (double edge, float speed)
{
    if (edge <= lower)
        return speed <= 0.0f && speed >= 0.0f;

    if (edge >= upper)
        return speed <= 1.0f && speed >= 1.0f;

    const auto expected = 0.2 + 0.8 * (edge - lower) / (upper - lower);
    return speed <= 1.0f && std::abs (static_cast<double> (speed) - expected) < 1e-6;
}

FanCurve defaultCurve()
{
    return FanCurve (readFanCurve (juce::PropertySet()));
}

std::string_view bytesOf (const FanCurve& curve)
{
    return { reinterpret_cast<const char*> (&curve), sizeof (curve) };
}

/** A curve after some readings, the speed that it gave last, and its band. */
struct Start
{
    Start (const std::vector<float>& readings, float lowEdge, float highEdge)
        : low (lowEdge)
        , high (highEdge)
    {
        for (const auto reading : readings)
            speed = curve.nextSpeed (reading);
    }

    /** True if `reading` gives the last speed again and leaves the band as it was. Compares the bytes of the curve,
        because the band is private.
    */
    bool isKeptBy (float reading) const
    {
        auto after = curve;
        return after.nextSpeed (reading) == speed && bytesOf (after) == bytesOf (curve);
    }

    FanCurve curve = defaultCurve();
    float speed = 0.0f, low, high;
};

std::ostream& operator<< (std::ostream& out, const Start& start)
{
    return out << "the band from " << start.low << " to " << start.high;
}
}

TEST (EveryFloat, asASpeedGivesItsCountAndItsEnable)
{
    constexpr std::uint32_t resolution = 4095, enable = 0xc0000000;
    constexpr std::uint32_t firstEnabled = 0x38d1b718; // 0.00010000000475; the float below it is 0.00009999999747
    constexpr float firstTooLarge = 4294967296.0f;     // 2^32
    std::uint32_t bits = 0;

    do
    {
        const auto speed = floatOf (bits);
        std::uint32_t expected = 0; // up to 0.0001 the product is below 1

        if (bits >= firstEnabled && bits <= infinityBits)
        {
            // A double holds the exact product of 12 and 24 bits, so that this rounds only once.
            const auto product = static_cast<float> (double { resolution } * static_cast<double> (speed));
            expected = product < firstTooLarge ? static_cast<std::uint32_t> (product) | enable : 0xffffffff;
        }

        const auto value = fanRegisterValue (speed, static_cast<int> (resolution));

        if (value != expected || (speed <= 1.0f && (value & ~enable) > resolution))
            FAIL() << std::hex << value << " instead of " << expected << " for " << speed << ", bits " << bits;
    } while (++bits != 0);
}

TEST (EveryFloat, asTheNextReadingNeverSlowsTheFanUpwardsNorSpeedsItUpDownwards)
{
    for (const auto step : { 1, -1 })
    {
        auto curve = defaultCurve();
        float before = step > 0 ? 0.0f : 1.0f;

        for (auto rank = step > 0 ? lowestRank : highestRank; rank >= lowestRank && rank <= highestRank;
             rank += step)
        {
            const auto reading = numberAt (rank);
            const auto speed = curve.nextSpeed (reading);
            const auto isWrongWay = step > 0 ? speed < before : speed > before;

            if (isWrongWay || ! isSpeedAt (static_cast<double> (reading) + (step > 0 ? 0 : window), speed))
                FAIL() << speed << " after " << before << " at " << reading << ", rank " << rank;

            before = speed;
        }
    }
}

using EveryFloatAfter = testing::TestWithParam<Start>;

// One step from a band, not a walk: a higher reading never gives a lower speed.
TEST_P (EveryFloatAfter, aBandKeepsItOrLeavesIt)
{
    const auto& start = GetParam();
    float before = 0.0f;

    for (auto rank = lowestRank; rank <= highestRank; ++rank)
    {
        const auto reading = numberAt (rank);
        auto speed = start.speed;
        bool right;

        if (reading >= start.low && reading <= start.high)
        {
            right = start.isKeptBy (reading) && isSpeedAt (static_cast<double> (start.high), speed);
        }
        else
        {
            auto curve = start.curve;
            speed = curve.nextSpeed (reading);
            right = isSpeedAt (static_cast<double> (reading) + (reading < start.low ? window : 0.0), speed);
        }

        if (speed < before || ! right)
            FAIL() << speed << " after " << before << " at " << reading << ", rank " << rank;

        before = speed;
    }
}

TEST_P (EveryFloatAfter, aBandChangesNothingIfItIsNoNumber)
{
    for (auto bits = infinityBits + 1; bits < signBit; ++bits)
        if (! GetParam().isKeptBy (floatOf (bits)) || ! GetParam().isKeptBy (floatOf (bits | signBit)))
            FAIL() << std::hex << bits << " with or without its sign";
}

INSTANTIATE_TEST_SUITE_P (Bands, EveryFloatAfter,
                          testing::Values (Start ({}, 0.0f, 0.0f), Start ({ 65.0f }, 60.0f, 65.0f),
                                           Start ({ 90.0f, 72.0f }, 72.0f, 77.0f)));
