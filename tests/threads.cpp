// Several threads use the log and the bus. In the preset tsan, ThreadSanitizer watches them.
#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include "hardware/CS4385.h"
#include "hardware/Router_Spartan6.h"
#include "logging/TimedFileLogger.h"
#include "simulator/boardFrontEnd.h"

namespace
{
void atOnce (const std::vector<std::function<void()>>& activities)
{
    std::vector<std::thread> threads;
    std::atomic<std::size_t> ready { 0 };

    for (const auto& activity : activities)
        threads.emplace_back (
            [&]
            {
                for (++ready; ready < activities.size();)
                    std::this_thread::yield();

                activity();
            });

    for (auto& thread : threads)
        thread.join();
}
}

TEST (Threads, loseOrTearNoLineOfTheLog)
{
    constexpr int writers = 4;
    constexpr struct
    {
        int messages, padding; // of each writer, and characters in each
        bool isTrimmed;
    } rows[] = { { 200, 4, false }, { 250, 400, true } };

    for (const auto& row : rows)
    {
        const juce::TemporaryFile temporary;
        TimedFileLogger logger (temporary.getFile(), "welcome", TimedFileLogger::sizeLimit);
        const auto padding = juce::String::repeatedString ("x", row.padding);
        std::vector<std::function<void()>> activities;

        for (int writer = 0; writer < writers; ++writer)
            activities.emplace_back (
                [&, writer]
                {
                    for (int number = 0; number < row.messages; ++number)
                        for (int repetition = 0; repetition < 2; ++repetition)
                            logger.logMessage ("INFORM " + juce::String (writer) + " " + juce::String (number) +
                                               " " + padding);
                });

        logger.setLogLevel (5);
        atOnce (activities);

        // A short line stands for the full one above it. A trimmed file lacks its first lines, and no others.
        auto lines = juce::StringArray::fromLines (temporary.getFile().loadFileAsString());
        lines.removeEmptyStrings();
        std::map<int, std::vector<int>> numbers;
        int lastWriter = -1;

        for (const auto& line : lines)
        {
            const auto words =
                juce::StringArray::fromTokens (line.fromFirstOccurrenceOf (" : INFORM ", false, false), " ", "");

            if (words.size() == 3)
            {
                EXPECT_EQ (padding, words[2]) << line;
                lastWriter = words[0].getIntValue();
                numbers[lastWriter].push_back (words[1].getIntValue());
            }
            else if (lastWriter < 0)
                EXPECT_FALSE (row.isTrimmed && ! line.startsWithChar ('+')) << line; // else the start header
            else
            {
                EXPECT_TRUE (line.startsWithChar ('+') && line.endsWithChar ('s')) << line;
                numbers[lastWriter].push_back (numbers[lastWriter].back());
            }
        }

        for (int writer = 0; writer < writers; ++writer)
        {
            const auto& kept = numbers[writer];
            const auto lost = 2 * row.messages - static_cast<int> (kept.size());
            EXPECT_TRUE (row.isTrimmed ? lost >= 0 : lost == 0) << "writer " << writer << " lost " << lost;

            for (int i = 0; i < static_cast<int> (kept.size()); ++i)
                ASSERT_EQ ((lost + i) / 2, kept[static_cast<std::size_t> (i)]) << "writer " << writer;
        }
    }
}

TEST (Threads, shareTheBusOneOperationAtATime)
{
    constexpr int rounds = 2000; // even, so that each thread ends with its second operation
    board().state = {};
    ASSERT_TRUE (board().state.setUp ("configured"));
    auto& registers = board().state.router.registers;
    Router_Spartan6 router (Board::busPath, 0x5A, 0x00);
    CS4385 dac1 (Board::busPath, 0x18, 0x20), dac2 (Board::busPath, 0x18, 0x08);
    ASSERT_EQ (1, router.resetAndInit());
    ASSERT_EQ (1, dac1.resetAndInit());
    ASSERT_EQ (1, dac2.resetAndInit());
    registers[0x24] = 0xA0;
    registers[0x2D] = 0x81;
    registers[0x35] = 0x40;
    board().trace.clear();

    const auto repeat = [] (auto first, auto second)
    {
        return [=]
        {
            for (int round = 0; round < rounds; round += 2)
                first(), second();
        };
    };
    atOnce ({
        repeat ([&] { router.CUE_set_to_internal(); }, [&] { router.CUE_set_to_external(); }),
        repeat ([&] { router.CUE_Select_TDMLine (1); }, [&] { router.CUE_Select_TDMLine (6); }),
        repeat ([&] { router.Unmute (CLOCK_INPUT3); }, [&] { router.Mute (CLOCK_INPUT3); }),
        repeat ([&] { router.Mute (CLOCK_INPUT4); }, [&] { router.Unmute (CLOCK_INPUT4); }),
        repeat ([&] { EXPECT_EQ (0x81, router.getLockedState()); }, [&] { EXPECT_TRUE (dac2.mute (true)); }),
        repeat ([&] { EXPECT_TRUE (dac1.mute (true)); }, [&] { EXPECT_TRUE (dac1.mute (false)); }),
    });

    // The mutes lost no bit, because they hold the lock from read to write. The cue does not. Therefore its line and its
    // source may each be of either thread, but no other bit changes.
    EXPECT_EQ (0x48, registers[0x35]); // source 3 is muted, 4 is not, and the rest is unchanged
    EXPECT_EQ (1U, std::set<int> ({ 0xA0, 0xA5, 0xA8, 0xAD }).count (registers[0x24])) << int { registers[0x24] };
    EXPECT_EQ (0x00, board().state.dac1.registers[9]);
    EXPECT_EQ (0xFF, board().state.dac2.registers[9]);

    // The trace consists of whole operations and transfers.
    const std::map<std::string, int> expected = {
        { "address 5A; write 24; read 1; ", 2 * rounds },
        { "address 5A; write 24 ; ", 2 * rounds },
        { "address 5A; write 35; read 1; address 5A; write 35 ; ", 2 * rounds },
        { "address 5A; write 2D; read 1; ", rounds / 2 },
        { "address 77; write 08; address 18; write 09 FF; address 77; write 00; ", rounds / 2 },
        { "address 77; write 20; address 18; write 09 FF; address 77; write 00; ", rounds / 2 },
        { "address 77; write 20; address 18; write 09 00; address 77; write 00; ", rounds / 2 },
    };
    std::string trace;

    for (const auto& call : board().trace)
    {
        // Without the values that were read, and without values that were made of them.
        const bool isMade = call.rfind ("write 24 ", 0) == 0 || call.rfind ("write 35 ", 0) == 0;
        trace += (isMade ? call.substr (0, 9) : call.substr (0, call.find (" -> "))) + "; ";
    }

    std::map<std::string, int> operations;

    for (std::size_t at = 0; at < trace.size();)
    {
        const auto whole =
            std::find_if (expected.begin(), expected.end(),
                          [&] (const auto& operation)
                          { return trace.compare (at, operation.first.size(), operation.first) == 0; });
        ASSERT_NE (expected.end(), whole) << trace.substr (at, 200);
        ++operations[whole->first];
        at += whole->first.size();
    }

    EXPECT_EQ (expected, operations);
}
