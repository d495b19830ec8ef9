#include "simulator/Board.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "hardware/CS4385Registers.h"
#include "hardware/RouterTypes.h"

static_assert (std::is_trivial_v<BoardState> && std::is_standard_layout_v<BoardState>, "it fits into a file");

namespace
{
namespace dac = cs4385;
namespace fpga = spartan6;

void configure (BoardState& board)
{
    constexpr std::uint8_t routes[][2] = { { 1, 29 }, { 2, 30 }, { 9, 1 }, { 10, 2 }, { 25, 17 }, { 31, 19 } };
    auto* const router = board.router.registers;

    for (const auto& [sink, source] : routes)
        router[sink] = source;

    router[fpga::afterReset] = fpga::resetNow;
    router[fpga::selectedClock] = CLOCK_INTERNAL;
    router[fpga::madiControl] = fpga::madiEnabled;
    router[fpga::imageMajor] = 2;
    router[fpga::imageMinor] = 121;

    for (auto* const chip : { &board.dac1, &board.dac2 })
    {
        chip->registers[dac::invertControl] = dac::boardInvertControl;
        chip->registers[dac::pcmControl] = dac::boardPcmControl;
        chip->registers[dac::modeControl] = dac::controlPortEnable;
    }
}
}

bool BoardState::setUp (std::string_view name)
{
    BoardState next {};

    if (name != "fresh")
        configure (next);

    next.dac1.absent = name == "no-dac1";
    next.router.absent = name == "no-router";
    next.muxAbsent = name == "no-mux";
    next.busAbsent = name == "no-bus";
    const bool lacksPart = next.dac1.absent || next.router.absent || next.muxAbsent || next.busAbsent;

    if (name != "fresh" && name != "configured" && ! lacksPart)
        return false;

    *this = next;
    return true;
}

BusResult Board::open (int descriptor)
{
    const auto error = errorOfNextCall();

    if (state.busAbsent || error != 0)
        return record (std::string ("open ") + busPath, { -1, state.busAbsent ? ENOENT : error });

    addresses[descriptor] = 0; // the kernel's first address, where no chip answers
    return record (std::string ("open ") + busPath, { descriptor, 0 });
}

BusResult Board::select (int descriptor, unsigned long address)
{
    constexpr unsigned long highestAddress = 0x7F;
    auto error = errorOfTransfer (descriptor);

    if (error == 0 && address > highestAddress)
        error = EINVAL;

    if (error == 0)
        addresses[descriptor] = static_cast<std::uint8_t> (address);

    return record ("address " + hex (address), { error == 0 ? 0 : -1, error });
}

BusResult Board::write (int descriptor, const std::uint8_t* data, std::size_t size)
{
    auto error = errorOfTransfer (descriptor);

    if (error == 0 && ! somebodyAnswers (addresses[descriptor]))
        error = ENXIO;

    if (error != 0)
        return record ("write" + hex (data, size), { -1, error });

    const auto count = countOfTransfer (size);

    if (addresses[descriptor] == muxAddress && count > 0)
        state.muxMask = data[count - 1];

    for (auto* const chip : answering (addresses[descriptor]))
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            if (i == 0)
                chip->pointer = data[0];
            else if (chip == &state.router)
                storeInRouter (chip->pointer++, data[i]);
            else
                chip->registers[chip->pointer++] = data[i];
        }
    }

    return recordTransfer ("write" + hex (data, size), size, count);
}

BusResult Board::read (int descriptor, std::uint8_t* data, std::size_t size)
{
    auto error = errorOfTransfer (descriptor);

    if (error == 0 && ! somebodyAnswers (addresses[descriptor]))
        error = ENXIO;

    if (error != 0)
        return record ("read " + std::to_string (size), { -1, error });

    const auto count = countOfTransfer (size);

    for (std::size_t i = 0; i < count; ++i)
    {
        data[i] = addresses[descriptor] == muxAddress ? state.muxMask : 0xFF;

        for (auto* const chip : answering (addresses[descriptor]))
            data[i] &= loadFrom (*chip); // where two chips answer, a 0 bit wins
    }

    return recordTransfer ("read " + std::to_string (size) + (count > 0 ? " ->" : "") + hex (data, count), size,
                           count);
}

BusResult Board::close (int descriptor)
{
    const bool wasOpen = addresses.erase (descriptor) > 0;
    return record ("close " + std::to_string (descriptor), { wasOpen ? 0 : -1, wasOpen ? 0 : EBADF });
}

void Board::arm (BusFault fault, std::uint32_t k)
{
    state.fault = fault;
    state.faultAt = k;
    state.calls = 0;
}

void Board::misreadCrosspoint (std::uint8_t sinkRegister, std::uint8_t times)
{
    state.wrongReads[sinkRegister % BoardState::crosspointEnd] = times;
}

BusResult Board::record (std::string line, BusResult result)
{
    trace.push_back (std::move (line) +
                     (result.value < 0 ? std::string (" ! ") + strerrorname_np (result.error) : ""));
    return result;
}

std::string Board::hex (unsigned long value)
{
    char text[24];
    std::snprintf (text, sizeof text, "%02lX", value);
    return text;
}

std::string Board::hex (const std::uint8_t* data, std::size_t size)
{
    std::string text;

    for (std::size_t i = 0; i < size; ++i)
        text += ' ' + hex (data[i]);

    return text;
}

int Board::errorOfNextCall()
{
    ++state.calls;

    if (state.fault == BusFault::nack && state.calls == state.faultAt)
        return ENXIO;

    return state.fault == BusFault::lockUp && state.calls >= state.faultAt ? ETIMEDOUT : 0;
}

int Board::errorOfTransfer (int descriptor)
{
    return addresses.count (descriptor) == 0 ? EBADF : errorOfNextCall();
}

std::size_t Board::countOfTransfer (std::size_t size) const
{
    const bool isShort = state.fault == BusFault::shortCount && state.calls == state.faultAt;
    return isShort && size > 0 ? size - 1 : size;
}

BusResult Board::recordTransfer (std::string line, std::size_t size, std::size_t count)
{
    return record (std::move (line) + (count < size ? " ! short" : ""), { static_cast<int> (count), 0 });
}

std::vector<Chip*> Board::answering (std::uint8_t address)
{
    std::vector<Chip*> chips;

    if (address == routerAddress && ! state.router.absent)
        chips.push_back (&state.router);

    if (address == dacAddress && (state.muxMask & BoardState::dac1Channel) != 0 && ! state.dac1.absent)
        chips.push_back (&state.dac1);

    if (address == dacAddress && (state.muxMask & BoardState::dac2Channel) != 0 && ! state.dac2.absent)
        chips.push_back (&state.dac2);

    return chips;
}

bool Board::somebodyAnswers (std::uint8_t address)
{
    return address == muxAddress ? ! state.muxAbsent : ! answering (address).empty();
}

void Board::storeInRouter (std::uint8_t number, std::uint8_t value)
{
    auto* const registers = state.router.registers;
    const auto before = registers[number];

    if (number == fpga::selectedClock && state.clockRefused)
        return;

    registers[number] = value;
    const auto fallen = static_cast<unsigned> (before & ~value);

    if (number == fpga::reset && value == fpga::resetNow)
        std::fill (registers + fpga::firstSink, registers + fpga::lastSink + 1, std::uint8_t {});

    if (number == fpga::holdReset && value == fpga::holdResetNow)
        std::fill (registers + fpga::lockLostHold, registers + fpga::mutedChanged + 1, std::uint8_t {});

    if (number == fpga::measurementLatch && value == fpga::latchNow)
        for (unsigned i = 0; i < fpga::measurementBytes; ++i)
            registers[fpga::measurement + i] = static_cast<std::uint8_t> (state.measuredWord >> (24 - 8 * i));

    if (number == fpga::modes && (fallen & fpga::bnc1ErrorsReset) != 0)
        std::fill_n (registers + fpga::bnc1ErrorsLow, 2, std::uint8_t {});

    if (number == fpga::modes && (fallen & fpga::bnc2ErrorsReset) != 0)
        std::fill_n (registers + fpga::bnc2ErrorsLow, 2, std::uint8_t {});
}

std::uint8_t Board::loadFrom (Chip& chip)
{
    const auto number = chip.pointer++;
    const auto value = chip.registers[number];

    if (&chip != &state.router || number >= BoardState::crosspointEnd || state.wrongReads[number] == 0)
        return value;

    if (state.wrongReads[number] != BoardState::wrongForEver)
        --state.wrongReads[number];

    return static_cast<std::uint8_t> (~value);
}
