// A JUCE console program that does nothing: what size and memory are measured against. Waits until it is ended.
#include <juce_data_structures/juce_data_structures.h>
#include <unistd.h>

int main()
{
    ::pause();
    return 0;
}
