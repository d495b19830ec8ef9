#pragma once

#include <cstdio>
#include <memory>

#include <juce_core/juce_core.h>

/** The output of a shell command that prints one number per line. The destructor closes it and waits for the shell. */
class CountPipe
{
public:
    /** Starts `command`. isOpen() tells if that worked. */
    explicit CountPipe (const juce::String& command)
        : pipe (::popen (command.toRawUTF8(), "r"))
    {
    }

    /** False if the process or its pipe could not be created. */
    bool isOpen() const noexcept { return pipe != nullptr; }

    /** Calls `judge` with each line's leading number, 0 if there is none. Does not call it if the command prints
        nothing, for example because the shell could not start it. */
    template <typename Judge>
    void forEachCount (Judge&& judge)
    {
        char line[bufferSize];

        while (std::fgets (line, bufferSize, pipe.get()) != nullptr)
            judge (countIn (line));
    }

    /** The leading number of `line`, 0 if there is none. Any bytes are allowed. */
    static int countIn (const char* line)
    {
        // Not as UTF-8, because a broken sequence makes the framework write past the end of its buffer.
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
