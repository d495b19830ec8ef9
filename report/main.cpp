// Tells what happened on a unit, from its log. ./log-report --help describes the arguments.
#include <cstdio>
#include <string>
#include <vector>

#include "report/Analysis.h"
#include "report/Json.h"

namespace
{
report::Report reportOf (std::FILE* file, const std::string& name)
{
    report::Analysis analysis (name);
    std::vector<char> block (1 << 16);

    while (const auto size = std::fread (block.data(), 1, block.size(), file))
        analysis.add ({ block.data(), size });

    return analysis.finish();
}
}

int main (int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string name = argv[i];

        if (name == "--json")
            continue;

        auto* const file = name == "-" ? stdin : std::fopen (name.c_str(), "rb");

        if (file == nullptr)
            return 3;

        std::puts (report::json (reportOf (file, name)).c_str());
    }

    return 0;
}
