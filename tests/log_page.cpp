// docs/log.md names every line that the daemon writes, with its level, and no other: held against the sources' text.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

namespace
{
using Strings = std::vector<std::string>;

const std::string folders[] = { "supervisor", "logging", "identity", "hardware" };
constexpr auto placeholder = "<>"; // for what is known only when the line is written

/** What writes a line, and which of its arguments, from one on, make the line; `before` is what it puts first. */
struct LogFunction
{
    size_t firstText;
    std::string before;
};

// The last three are helpers that are handed texts: each is a row of `notHere`, too, where it hands them on.
const std::map<std::string, LogFunction> logFunctions {
    { "writeToLog", { 0, {} } }, { "logMessage", { 0, {} } }, { "appendText", { 0, {} } },
    { "fail", { 1, {} } },       { "silence", { 1, {} } },    { "logMadiControl", { 0, "DEBUG: " } },
};

// Calls that do not show what they write. A new helper that takes a text belongs here and into `logFunctions`.
const std::set<std::string> notHere {
    "hardware/I2CDevice.cpp: line", // fail
    "hardware/Router_Spartan6Madi.cpp: juce::String(DEBUG: )+operation+what+juce::String::toHexString(value)",
    "logging/TimedFileLogger.cpp: stamped(message)",                      // any message
    "supervisor/MaintenanceMode.cpp: argument",                           // the user's own words
    "supervisor/MaintenanceMode.cpp: text",                               // silence
    "supervisor/SupervisionLoop.cpp: now.toString(true,true,false,true)", // the daily stamp
};

std::string contentOf (const std::filesystem::path& file)
{
    std::ifstream stream (file);
    return { std::istreambuf_iterator<char> (stream), {} };
}

struct Token
{
    enum Kind
    {
        word,
        literal,
        sign
    };

    Kind kind;
    std::string text;

    bool is (const char* other) const { return kind != literal && text == other; }
};

using Tokens = std::vector<Token>;

std::string unescaped (const std::string& literal)
{
    auto text = std::regex_replace (literal, std::regex (R"(\\n)"), "\n");
    return std::regex_replace (text, std::regex (R"(\\(.))"), "$1");
}

/** Without comments, preprocessor lines and character constants; adjacent literals are one. */
Tokens tokensOf (const std::string& source)
{
    static const std::regex pattern (
        R"re(//[^\n]*|/\*[^]*?\*/|#[^\n]*|'(?:\\.|[^'\\])+'|"((?:\\.|[^"\\])*)"|(\w[\w']*)|::|\S)re");
    Tokens tokens;

    for (std::sregex_iterator match (source.begin(), source.end(), pattern), end; match != end; ++match)
    {
        const auto text = match->str();

        if ((*match)[1].matched)
        {
            if (! tokens.empty() && tokens.back().kind == Token::literal)
                tokens.back().text += unescaped ((*match)[1]);
            else
                tokens.push_back ({ Token::literal, unescaped ((*match)[1]) });
        }
        else if ((*match)[2].matched)
            tokens.push_back ({ Token::word, text });
        else if (text.rfind ("//", 0) != 0 && text.rfind ("/*", 0) != 0 && text[0] != '#' && text[0] != '\'')
            tokens.push_back ({ Token::sign, text });
    }

    return tokens;
}

/** Cuts at each `separator` outside brackets. */
std::vector<Tokens> split (const Tokens& tokens, const char* separator)
{
    std::vector<Tokens> parts (1);
    int depth = 0;

    for (const auto& token : tokens)
    {
        depth += token.is ("(") || token.is ("{") ? 1 : 0;
        depth -= token.is (")") || token.is ("}") ? 1 : 0;

        if (depth == 0 && token.is (separator))
            parts.emplace_back();
        else
            parts.back().push_back (token);
    }

    return parts;
}

std::string written (const Tokens& tokens)
{
    std::string text;

    for (const auto& token : tokens)
        text += token.text;

    return text;
}

/** One file's calls, with its constants and variables put in. */
class Source
{
public:
    explicit Source (Tokens all)
        : tokens (std::move (all))
    {
        for (size_t i = 1; i < tokens.size(); ++i)
            if (tokens[i].is ("=") && nameBefore (i) != nullptr)
                definitions.emplace (nameBefore (i)->text, upTo (i + 1, ";"));
    }

    struct Call
    {
        Strings texts; ///< one, or two where a condition decides between literals
        std::string arguments;
    };

    std::vector<Call> logCalls() const
    {
        std::vector<Call> calls;

        for (size_t i = 0; i + 1 < tokens.size(); ++i)
        {
            const auto function = logFunctions.find (tokens[i].text);

            if (tokens[i].kind != Token::word || function == logFunctions.end() || ! tokens[i + 1].is ("("))
                continue;

            const auto arguments = upTo (i + 2, ")");

            // Every declaration of these functions takes something constant, and no call does.
            if (std::any_of (arguments.begin(), arguments.end(), [] (auto& token) { return token.is ("const"); }))
                continue;

            Strings texts { function->second.before };
            const auto all = split (arguments, ",");

            for (auto n = function->second.firstText; n < all.size(); ++n)
                texts = combined (texts, textsOf (all[n], 0));

            calls.push_back ({ texts, written (arguments) });
        }

        return calls;
    }

private:
    const Token* nameBefore (size_t equals) const
    {
        const auto name = tokens[equals - 1].is ("]") && equals >= 3 ? equals - 3 : equals - 1;
        return tokens[name].kind == Token::word ? &tokens[name] : nullptr;
    }

    Tokens upTo (size_t first, const char* end) const
    {
        int depth = 0;
        auto last = first;

        for (; last < tokens.size() && (depth > 0 || ! tokens[last].is (end)); ++last)
        {
            depth += tokens[last].is ("(") || tokens[last].is ("{") ? 1 : 0;
            depth -= tokens[last].is (")") || tokens[last].is ("}") ? 1 : 0;
        }

        return { tokens.begin() + static_cast<long> (first), tokens.begin() + static_cast<long> (last) };
    }

    static Strings combined (const Strings& heads, const Strings& tails)
    {
        Strings all;

        for (const auto& head : heads)
            for (const auto& tail : tails)
                all.push_back (head + tail);

        return all;
    }

    Strings textsOf (const Tokens& expression, int depth) const
    {
        Strings texts { "" };

        for (const auto& operand : split (expression, "+"))
            texts = combined (texts, textsOfOperand (operand, depth));

        return texts;
    }

    /** A literal, a name for one, either in brackets or a String of it; a choice between two; else the placeholder. */
    Strings textsOfOperand (Tokens operand, int depth) const
    {
        constexpr int deepest = 9; // a variable that is defined by itself ends here
        Strings unknown { placeholder };

        if (operand.empty() || depth > deepest)
            return unknown;

        if (const auto choice = split (operand, "?"); choice.size() == 2)
        {
            const auto branches = split (choice[1], ":");
            const auto isLiteral = [] (const Tokens& t)
            { return t.size() == 1 && ! t[0].text.empty() && t[0].kind == Token::literal; };
            return std::all_of (branches.begin(), branches.end(), isLiteral)
                       ? Strings { branches[0][0].text, branches[1][0].text }
                       : unknown;
        }

        if (operand.size() == 1 && operand[0].kind == Token::literal)
            return { operand[0].text };

        if (const auto definition = definitions.find (operand[0].text);
            operand.size() == 1 && definition != definitions.end())
            return knownOrPlaceholder (textsOf (definition->second, depth + 1));

        if (operand.size() > 3 && operand[0].is ("juce") && operand[2].is ("String"))
            operand.erase (operand.begin(), operand.begin() + 3);

        if (operand.front().is ("(") && operand.back().is (")"))
            return knownOrPlaceholder (textsOf ({ operand.begin() + 1, operand.end() - 1 }, depth + 1));

        return unknown;
    }

    /** What holds no literal is one value, however many it was made of. */
    static Strings knownOrPlaceholder (const Strings& texts)
    {
        const auto known = [] (const std::string& text)
        { return text.find_first_not_of (placeholder) != std::string::npos; };
        return std::any_of (texts.begin(), texts.end(), known) ? texts : Strings { placeholder };
    }

    Tokens tokens;
    std::map<std::string, Tokens> definitions;
};

const std::regex levelWord ("^(debug|info|warning|critical|error)", std::regex::icase);

/** Whether a reader could find it in the log: some letters besides placeholders and the level word. */
bool saysSomething (const std::string& line)
{
    const auto bare = std::regex_replace (std::regex_replace (line, std::regex ("<[^>]*>"), ""), levelWord, "");
    return std::any_of (bare.begin(), bare.end(), [] (unsigned char c) { return std::isalpha (c) != 0; });
}

struct Lines
{
    std::map<std::string, Strings> byFolder;
    std::set<std::string> notHere;
};

Lines linesInSources()
{
    Lines lines;

    for (const auto& folder : folders)
    {
        for (const auto& entry :
             std::filesystem::directory_iterator (std::filesystem::path (SOURCE_FOLDER) / folder))
        {
            if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h")
                continue;

            const Source source (tokensOf (contentOf (entry.path())));

            for (const auto& call : source.logCalls())
                for (const auto& text : call.texts)
                {
                    if (! saysSomething (text))
                        lines.notHere.insert (folder + "/" + entry.path().filename().string() + ": " +
                                              call.arguments);

                    std::istringstream stream (saysSomething (text) ? text : "");

                    for (std::string line; std::getline (stream, line);)
                        lines.byFolder[folder].push_back (line);
                }
        }
    }

    return lines;
}

struct PageLine
{
    std::string line, level;
};

/** What stands in backticks in the first cells of the tables, with the second cell. */
std::vector<PageLine> linesOnPage()
{
    auto page = contentOf (std::filesystem::path (SOURCE_FOLDER) / "docs" / "log.md");
    page.erase (0, page.find ("## Every line"));
    static const std::regex row (R"(\| ([^|\n]*`[^|\n]*) \| ([^|\n]*) \|)"), span ("`([^`]+)`");
    std::vector<PageLine> lines;
    std::istringstream stream (page);

    for (std::string text; std::getline (stream, text);)
    {
        std::smatch cells;

        if (! std::regex_search (text, cells, row, std::regex_constants::match_continuous))
            continue;

        const auto first = cells[1].str();

        for (std::sregex_iterator match (first.begin(), first.end(), span), end; match != end; ++match)
            if (saysSomething ((*match)[1]))
                lines.push_back ({ (*match)[1], cells[2] });
    }

    return lines;
}

/** Each placeholder of the page stands for one value, named as the reader may like it. */
bool agree (const std::string& onPage, const std::string& inSource)
{
    const auto plain = std::regex_replace (onPage, std::regex (R"([.*+?()\[\]{}^$|\\])"), R"(\$&)");
    return std::regex_match (inSource, std::regex (std::regex_replace (plain, std::regex ("<[^>]*>"), "\\S+")));
}
}

TEST (LogPage, namesEveryLineThatTheSourcesWrite)
{
    const auto page = linesOnPage();

    for (const auto& [folder, lines] : linesInSources().byFolder)
        for (const auto& line : lines)
            EXPECT_TRUE (
                std::any_of (page.begin(), page.end(), [&] (auto& row) { return agree (row.line, line); }))
                << "in " << folder << " and not in docs/log.md: " << line;
}

TEST (LogPage, namesNoLineThatNoSourceWrites)
{
    const auto sources = linesInSources().byFolder;

    for (const auto& row : linesOnPage())
    {
        const auto writes = [&] (auto& folder)
        {
            return std::any_of (folder.second.begin(), folder.second.end(),
                                [&] (auto& line) { return agree (row.line, line); });
        };
        EXPECT_TRUE (std::any_of (sources.begin(), sources.end(), writes)) << row.line;
    }
}

TEST (LogPage, statesTheLevelThatTheFirstWordGives)
{
    const std::map<std::string, std::string> levels {
        { "ERROR", "1" }, { "CRITICAL", "2" }, { "Warning", "3" }, { "INFO", "4" }, { "DEBUG", "5" },
    };

    for (const auto& row : linesOnPage())
    {
        std::smatch word;
        std::regex_search (row.line, word, levelWord);
        EXPECT_EQ (word.empty() ? "always" : levels.at (word.str()), row.level) << row.line;
    }
}

// Else the tests above could pass because nothing is read: fewer lines than there were mean a reader that went blind.
TEST (LogPage, isHeldAgainstAllSources)
{
    const auto lines = linesInSources();
    const std::map<std::string, size_t> atLeast {
        { "supervisor", 20 },
        { "logging", 1 },
        { "identity", 1 },
        { "hardware", 20 },
    };

    for (const auto& [folder, count] : atLeast)
        EXPECT_GE (lines.byFolder.count (folder) == 0 ? 0 : lines.byFolder.at (folder).size(), count) << folder;

    EXPECT_EQ (notHere, lines.notHere) << "a call that does not show what it writes";
}
