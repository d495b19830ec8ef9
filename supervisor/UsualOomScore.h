#pragma once

#include <fstream>
#include <string>

/** Gives the daemon the usual out-of-memory score while this object lives. Programs that it starts inherit the score.

    The boot unit may protect the daemon from the kernel's out-of-memory killer. Application and GUI take most of the
    memory, so they must not inherit that protection. Failures are ignored.
*/
class UsualOomScore
{
public:
    UsualOomScore()
    {
        std::ifstream (scoreFile) >> ownScore;
        set (usualScore);
    }

    ~UsualOomScore() { set (ownScore); }
    UsualOomScore (const UsualOomScore&) = delete;
    UsualOomScore& operator= (const UsualOomScore&) = delete;

private:
    static constexpr auto scoreFile = "/proc/self/oom_score_adj"; // proc(5)
    static constexpr auto usualScore = "0";

    void set (const std::string& score) const
    {
        if (ownScore != usualScore)
            std::ofstream (scoreFile) << score;
    }

    std::string ownScore;
};
