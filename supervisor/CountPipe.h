#pragma once

#include <cstdio>
#include <memory>

#include <juce_core/juce_core.h>

/** The output of a shell command that prints numbers, one a line; closed, and its shell waited for, on destruction. */
class CountPipe
{
public:
    /** Starts `command`; see isOpen for whether that worked. */
    explicit CountPipe (const juce::String& command)
        : pipe (::popen (command.toRawUTF8(), "r"))
    {
    }

    /** False if no process or descriptor could be had. */
    bool isOpen() const noexcept { return pipe != nullptr; }

    /** Calls `judge` with each line's leading number (0 if there is none); not at all for a command that prints
        nothing, as when the shell could not start it. */
    template <typename Judge>
    void forEachCount (Judge&& judge)
    {
        char line[bufferSize];

        while (std::fgets (line, bufferSize, pipe.get()) != nullptr)
            judge (countIn (line));
    }

    /** The leading number of `line`, which may be any bytes; 0 if there is none. */
    static int countIn (const char* line)
    {
        // Not as UTF-8: of a broken sequence the framework would write more than it has room for.
        return juce::String (line).getIntValue();
    }

private:
    static constexpr int bufferSize = 1000; // bytes; a longer line is judged in pieces

    struct Closer
    {
        void operator() (std::FILE* file) const { ::pclose (file); }
    };

    std::unique_ptr<std::FILE, Closer> pipe;
};
