// Bytes from outside: they become the same text with each version of the framework.
#include <string>

#include <gtest/gtest.h>

#include "logging/Text.h"

namespace
{
// Bytes, and the text as UTF-8.
const std::pair<std::string, std::string> rows[] = {
    { "", "" },
    { "OD123456\n", "OD123456\n" },
    { "\xc2\x80 \xdf\xbf", "\xc2\x80 \xdf\xbf" },
    { "\xe2\x82\xac", "\xe2\x82\xac" },
    { "\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf", "\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf" },
    { "\xef\xbb\xbfOD", "OD" },
    { "\xef\xbb\xbf", "" },
    { std::string ("\xff\xfeO\0D\0", 6), "OD" },
    { std::string ("\xfe\xff\0O\0D", 6), "OD" },
    { "\xff\xfe", "" },
    { std::string ("OD\0\xc3(", 5), "OD" },

    // Longer than needed, and a surrogate: taken as they are.
    { "a\xc0\xbc", "a\xc0\xbc" },
    { "\xe0\x82\xbc", "\xe0\x82\xbc" },
    { "\xed\xa0\x80", "\xed\xa0\x80" },

    // No continuation byte, too few of them, nothing to continue, behind the last character, no first byte.
    { "MUTE\xc3\xff", "MUTE\xc3\x83\xc3\xbf" },
    { "OD12345\xc3(", "OD12345\xc3\x83(" },
    { "\xe2(\xa1", "\xc3\xa2(\xc2\xa1" },
    { "\xf0\x9f(\xa1", "\xc3\xb0\xc5\xb8(\xc2\xa1" },
    { "OD\xe2\x80", "OD\xc3\xa2\xe2\x82\xac" },
    { "a\xc3", "a\xc3\x83" },
    { "a\x80", "a\xe2\x82\xac" },
    { "\xf4\xa0\x82\x83", "\xc3\xb4\xc2\xa0\xe2\x80\x9a\xc6\x92" },
    { "\xf8\xa0\xa0\xa0\xa0", "\xc3\xb8\xc2\xa0\xc2\xa0\xc2\xa0\xc2\xa0" },
    { "a\xff", "a\xc3\xbf" },
};
}

TEST (Text, isUtf8OrElseWindows1252AlsoInAFile)
{
    const juce::TemporaryFile temporary;
    const auto& file = temporary.getFile();
    EXPECT_EQ ("", textIn (file).toStdString()) << "there is none yet";
    EXPECT_EQ ("", textIn (file.getParentDirectory()).toStdString());

    for (const auto& [bytes, text] : rows)
    {
        EXPECT_EQ (text, textOf (bytes.data(), static_cast<int> (bytes.size())).toStdString());
        ASSERT_TRUE (file.replaceWithData (bytes.data(), bytes.size()));
        EXPECT_EQ (text, textIn (file).toStdString());
    }
}
