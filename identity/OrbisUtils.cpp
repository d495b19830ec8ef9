#include "identity/OrbisUtils.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <tuple>
#include <unistd.h>

#include "logging/Text.h"

namespace
{
constexpr auto serialFilePath = "/home/root/ORBIStechnologies/Autosave1/serial.txt";
constexpr auto fetchSerialCommand = "/home/root/fw_printenv -n ORBIS_serial > ";
constexpr auto gnupgBackupPath = "/home/root/gnupg_save";
constexpr auto backUpGnupgCommand =
    "mount -o remount,rw /home; cp -rf /home/root/config/.gnupg /home/root/gnupg_save; "
    "mount -o remount,ro /home";
constexpr auto fallbackSerial = "OTDEMOMO";
constexpr auto invalidSerialText = "Warning: Invalid Serial. Using Fallback for now.";

constexpr int serialLength = 8;     // characters
constexpr int shortestFileText = 2; // characters; a shorter text counts as empty and is fetched again
// The thresholds differ on purpose: 3 characters count as loaded without the lock, 2 under it.
constexpr int shortestCachedUnlocked = 3;
constexpr int shortestCachedUnderLock = 2;

// Line feeds, and the quotation marks U+201A and U+2018 that word processors put around a pasted serial.
const juce::String strippedCharacters (juce::CharPointer_UTF8 ("\n\xe2\x80\x9a\xe2\x80\x98"));

struct Product
{
    ORBIStesselTYPE type;
    const char* name;
    const char* serialPrefix; // nullptr: no serial names this product
    int generation;
};

// An unidentified unit counts as generation 1, so it gets no fan control.
constexpr Product products[] = {
    { TYPE_UNKNOWN, "UNKNOWN", nullptr, 1 },
    { TYPE_MARBLE, "ORBIS:marble", nullptr, 1 },
    { TYPE_MARBLE_19, "ORBIS:marble 19", nullptr, 1 },
    { TYPE_ZENITH, "ORBIS:zenith", nullptr, 1 },
    { TYPE_PAD, "ORBIS:pad", nullptr, 1 },
    { TYPE_LUMO, "ORBIS:lumo", "OX", 1 },
    { TYPE_TESSEL, "ORBIS:tessel", "OT", 1 },
    { TYPE_DMI_ORBIS, "DMI-ORBIS", "OD", 2 },
    { TYPE_PXRVN, "PXRVN", "OY", 2 },
    { TYPE_PXLVN, "PXLVN", "OZ", 2 },
};

constexpr Product noProduct { TYPE_UNKNOWN, "CINVALD", nullptr, 0 };

const Product& productOf (ORBIStesselTYPE type)
{
    for (const auto& product : products)
        if (product.type == type)
            return product;

    return noProduct;
}
}

juce::String OrbisUtils::serialS;
juce::ReadWriteLock OrbisUtils::lock;
ORBIStesselTYPE OrbisUtils::otType = TYPE_UNKNOWN;
juce::String OrbisUtils::usbPath;

juce::String OrbisUtils::getSerial (bool refresh)
{
    if (serialS.length() >= shortestCachedUnlocked && ! refresh)
        return serialS;

    const juce::ScopedReadLock readLock (lock);

    if (serialS.length() >= shortestCachedUnderLock && ! refresh)
        return serialS;

    const juce::ScopedWriteLock writeLock (lock);
    serialS = loadSerial (refresh);
    return serialS;
}

juce::String OrbisUtils::loadSerial (bool refresh)
{
    const juce::File serialFile (serialFilePath);
    const auto isThere = []
    {
        std::error_code missing;
        return std::filesystem::is_regular_file (serialFilePath, missing);
    };

    if (! isThere() || refresh || textIn (serialFile).length() < shortestFileText)
    {
        // Instead of the file there may be a FIFO. Without a reader, the shell would wait for one.
        const auto reader = ::open (serialFilePath, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        std::ignore = std::system ((fetchSerialCommand + serialFile.getFullPathName()).toRawUTF8());
        ::close (reader);
    }

    if (! juce::File (gnupgBackupPath).exists())
        std::ignore = std::system (backUpGnupgCommand);

    // A refresh only fetches the serial, on purpose. The next start reads it; until then the fallback is used.
    return serialIn (isThere() && ! refresh ? textIn (serialFile) : juce::String());
}

juce::String OrbisUtils::serialIn (const juce::String& text)
{
    const auto isValid = [] (const juce::String& serial)
    { return serial.length() == serialLength && getTesselType (serial) != TYPE_UNKNOWN; };

    auto candidate = text.removeCharacters (strippedCharacters);

    if (! isValid (candidate))
        candidate = fallbackSerial;

    // Tests the candidate after the replacement, on purpose: the valid fallback gets no warning.
    if (! isValid (candidate))
        juce::Logger::writeToLog (invalidSerialText);

    return candidate;
}

ORBIStesselTYPE OrbisUtils::getTesselType (juce::String serial)
{
    // A known type stays for the life of the process, because fan and GUI must not change while it runs.
    if (otType != TYPE_UNKNOWN)
        return otType;

    if (serial.isEmpty())
        serial = getSerial (false);

    for (const auto& product : products)
    {
        if (product.serialPrefix != nullptr && serial.startsWith (product.serialPrefix))
        {
            otType = product.type;
            break;
        }
    }

    return otType;
}

juce::String OrbisUtils::tesselTypeToString (ORBIStesselTYPE type)
{
    return productOf (type).name;
}

int OrbisUtils::getProductGeneration (ORBIStesselTYPE type)
{
    return productOf (type).generation;
}
