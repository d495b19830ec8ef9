#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

/** A text file that grows. */
class FollowedFile
{
public:
    explicit FollowedFile (const char* pathToFollow)
        : path (pathToFollow)
    {
    }

    /** The complete lines since the last call. Works too if a trim has put a shorter file in the place of the old one. */
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
            offset = positionAfterLastLine (file);

        inode = status.st_ino;
        file.clear();
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

private:
    std::streamoff positionAfterLastLine (std::ifstream& file) const
    {
        std::stringstream text;
        text << file.rdbuf();
        const auto found = text.str().rfind (lastLine);
        return found == std::string::npos ? 0 : static_cast<std::streamoff> (text.str().find ('\n', found) + 1);
    }

    const char* path;
    ino_t inode = 0;
    std::streamoff offset = 0;
    std::string lastLine;
};
