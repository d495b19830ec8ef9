#pragma once

#include <iterator>
#include <random>
#include <string>

/** A random course of events on a simulated unit, as a script for its shell. The script and `writeHook` note what happens, for Truth.
*/
class Scenario
{
public:
    explicit Scenario (unsigned seed);

    static const char* const writeHook; ///< for the unit's run/devmem-hook

    struct Product
    {
        const char *serial, *name, *gui;
        bool hasFan;
    };

private:
    int draw (int below) { return static_cast<int> (random() % static_cast<unsigned> (below)); }
    template <typename Choices>
    auto pick (const Choices& choices)
    {
        return choices[random() % std::size (choices)];
    }

    void at (int milliseconds, const std::string& command);
    int begin (const std::string& kind);
    void live (int level, int end, int mostTemperatures);
    void life();
    void cannedLife();
    void maintenance();

    std::mt19937 random;

public:
    const Product product;
    const bool hasDisk; ///< that can be full
    const bool mayTrim;
    const std::string board;
    std::string script;
};
