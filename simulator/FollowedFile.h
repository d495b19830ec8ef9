#pragma once

#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <vector>

/** A text file that grows. */
struct FollowedFile
{
    /** The complete lines since the last call. Works too if a trim has put a shorter file in the place of the old one.
    */
    std::vector<std::string> newLines()
    {
        std::vector<std::string> lines;
        struct stat status
        {
        };

        if (::stat (path, &status) != 0)
            return lines;

        std::ifstream file (path, std::ios::binary);

        if (status.st_ino != inode && inode != 0)
        {
            const std::string text { std::istreambuf_iterator<char> (file), {} };
            const auto found = text.rfind (lastLine);
            offset = found == std::string::npos ? 0 : static_cast<std::streamoff> (text.find ('\n', found) + 1);
        }

        inode = status.st_ino;
        file.seekg (offset);
        std::string line;

        while (std::getline (file, line) && ! file.eof())
        {
            offset = file.tellg();

            if (! line.empty() && line.back() == '\r')
                line.pop_back();

            lines.push_back (line);
            lastLine = line.empty() ? lastLine : line;
        }

        return lines;
    }

    const char* path;
    ino_t inode = 0;
    std::streamoff offset = 0;
    std::string lastLine {};
};
