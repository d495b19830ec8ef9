// guiname: prints the process name of this unit's GUI. Fails for a product without a GUI.
#include <cstdio>
#include <fstream>
#include <string>

#include "identity/Device.h"
#include "identity/OrbisUtils.h"

int main()
{
    constexpr auto serialPath = "/home/root/ORBIStechnologies/Autosave1/serial.txt";
    constexpr std::size_t serialLength = 8;

    std::string serial;
    std::ifstream (serialPath) >> serial;
    auto type = serial.length() == serialLength ? OrbisUtils::getTesselType (serial) : TYPE_UNKNOWN;

    if (type == TYPE_UNKNOWN)
        type = TYPE_TESSEL; // the product of a unit without a valid serial

    return hasGui (type) && std::puts (guiProcessName (type).toRawUTF8()) >= 0 ? 0 : 1;
}
