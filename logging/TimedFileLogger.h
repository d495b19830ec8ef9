#pragma once

#include <juce_core/juce_core.h>

/** The one log of the daemon: a framework file logger with a time stamp on every line, a level filter keyed on
    the message's own first word, a short form for repeated messages, and a size limit enforced on every write.

    Callers only use juce::Logger::writeToLog and choose the first word of their message. No stream stays open:
    a line is on disk when logMessage returns, and a trim or an outside rotation never meets an open handle.
*/
class TimedFileLogger : public juce::FileLogger
{
public:
    /** Receives every formatted line, also those that the file shows in their short form. Never owned. */
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

    /** Opens `file` with the framework's own start header (an empty line, a line of stars, `welcomeMessage` and
        the time), after trimming it to `maxInitialFileSizeBytes`. A file that cannot be written is not reported.
    */
    TimedFileLogger (const juce::File& file, const juce::String& welcomeMessage,
                     juce::int64 maxInitialFileSizeBytes);

    /** Writes one message, or drops it by its first word; never reports a failure. Any thread may call it.

        A message equal to the last one written becomes "+12.5s": the seconds since that message's full line,
        so the numbers of a run grow. A dropped message does not end a run.
    */
    void logMessage (const juce::String& message) override;

    /** Sets the threshold: "debug" needs 5 to be written, "info" 4, "warning" 3, "critical" 2, "error" 1.
        Any value is taken; a message with none of these first words is always written.
    */
    void setLogLevel (int newLevel) noexcept { logLevel = newLevel; }

    /** Adds an observer, which must outlive the logger or its last message. */
    void addLineListener (LineListener* listener) { lineListeners.add (listener); }

private:
    bool isFilteredOut (const juce::String& message) const;
    void trimIfTooLarge();

    int logLevel = initialLogLevel;
    juce::int64 maxFileSize = sizeLimit; ///< bytes
    juce::String lastMessage;            ///< the last message written in full, without its time stamp
    juce::Time lastMessageTime;          ///< when that was
    juce::CriticalSection lock;          ///< covers trim, repetition decision and write; not the base's own lock
    juce::Array<LineListener*> lineListeners;
};
