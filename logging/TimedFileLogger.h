#pragma once

#include <juce_core/juce_core.h>

/** The daemon's only log. To the framework's file logger it adds a time stamp on every full line, a level filter by the
    message's first word, a short form for repeated messages, and a size limit that every message checks.

    Callers use juce::Logger::writeToLog and choose only the first word of their message. No stream stays open, so a
    line is on disk when logMessage returns, and a trim or an outside rotation never meets an open handle.
*/
class TimedFileLogger : public juce::FileLogger
{
public:
    /** Receives every logged message as a full line, even if the file shows its short form. Not owned by the logger. */
    class LineListener
    {
    public:
        virtual void lineLogged (const juce::String& line) = 0;

    protected:
        ~LineListener() = default;
    };

    static constexpr int sizeLimitKiB = 128;         ///< the size limit as the build banner states it
    static constexpr juce::int64 sizeLimit = 131072; ///< bytes, the same limit
    static constexpr int initialLogLevel = 3;        ///< until the settings are read

    /** Trims `file` to `maxInitialFileSizeBytes`, then appends the framework's start header: an empty line, a line of
        stars, `welcomeMessage` and the time. A file that cannot be written is not reported.
    */
    TimedFileLogger (const juce::File& file, const juce::String& welcomeMessage,
                     juce::int64 maxInitialFileSizeBytes);

    /** Writes one message, or drops it because of its first word. Never reports a failure. Any thread may call it.

        A repetition of the last written message becomes "+12.5s": the seconds since its full line, so the numbers of a
        run grow. A dropped message does not end a run.
    */
    void logMessage (const juce::String& message) override;

    /** Sets the threshold: "debug" needs 5 to be written, "info" 4, "warning" 3, "critical" 2, "error" 1.
        Any value is allowed. A message with none of these first words is always written.
    */
    void setLogLevel (int newLevel) noexcept { logLevel = newLevel; }

    /** Adds an observer. It must outlive the logger or its last message. */
    void addLineListener (LineListener* listener) { lineListeners.add (listener); }

private:
    bool isFilteredOut (const juce::String& message) const;
    void trimIfTooLarge();

    int logLevel = initialLogLevel;
    juce::int64 maxFileSize = sizeLimit; ///< bytes
    juce::String lastMessage;            ///< the last message written in full, without its time stamp
    juce::Time lastMessageTime;          ///< time of lastMessage's full line
    juce::CriticalSection lock;          ///< covers trim, repetition decision and write; not the base class's lock
    juce::Array<LineListener*> lineListeners;
};
