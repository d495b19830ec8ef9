// Serial number and product type.
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "identity/OrbisUtils.h"
#include "tests/Unit.h"

TEST (Identity, namesEveryProductAndItsGeneration)
{
    constexpr std::tuple<int, const char*, int> rows[] = {
        { 0, "UNKNOWN", 1 },         { 10, "ORBIS:marble", 1 }, { 50, "ORBIS:marble 19", 1 },
        { 100, "ORBIS:zenith", 1 },  { 200, "ORBIS:pad", 1 },   { 400, "ORBIS:lumo", 1 },
        { 1000, "ORBIS:tessel", 1 }, { 2000, "DMI-ORBIS", 2 },  { 3000, "PXRVN", 2 },
        { 4000, "PXLVN", 2 },        { 5, "CINVALD", 0 },       { -1, "CINVALD", 0 }
    };

    for (const auto& [number, name, generation] : rows)
    {
        const auto type = static_cast<ORBIStesselTYPE> (number);
        EXPECT_EQ (name, OrbisUtils::tesselTypeToString (type).toStdString());
        EXPECT_EQ (generation, OrbisUtils::getProductGeneration (type)) << number;
    }
}

UNIT_TEST (Identity, isReadFromTheSerialFileOrElseFromTheBootLoader)
{
    constexpr auto lumo = "Device ORBIS:lumo Serial OX123456 without GUI ORBIStesselGUI";
    constexpr auto pad = "Device DMI-ORBIS Serial OD123456 with GUI ORBISpad";
    constexpr auto fetched = "Device PXRVN Serial OY777777 with GUI ORBISpad";
    constexpr auto fallback = "Device ORBIS:tessel Serial OTDEMOMO with GUI ORBIStesselGUI";
    const std::pair<std::string, const char*> rows[] = {
        { "OX123456\n", lumo },
        { "OD123456\n", pad },
        { "\n\nOD12\n3456", pad },
        { "\xe2\x80\x9aOD123456\xe2\x80\x98", pad },
        { "OY000001", "Device PXRVN Serial OY000001 with GUI ORBISpad" },
        { "OZ000001", "Device PXLVN Serial OZ000001 with GUI ORBISpad" },
        { "OT999999", "Device ORBIS:tessel Serial OT999999 with GUI ORBIStesselGUI" },
        { "od123456\n", fallback },
        { "OD1234567\n", fallback },
        { "OD12345\n", fallback },
        { "OD123456\r\n", fallback },
        { " OD12345", fallback },
        { std::string ("OD\0\0\0\0\0\0", 8), fallback },
        { std::string (5000000, 'O'), fallback },
        { "", fetched },
        { "O", fetched },
        { "\n", fetched },
        { "\xc3\xff\x80\x81\x82\x83\x84\x85", fallback },
        { "OD1234\xed\xa0\x80Z", "Device DMI-ORBIS Serial OD1234\xed\xa0\x80Z with GUI ORBISpad" },
    };

    for (const auto& [content, expected] : rows)
    {
        Unit unit ("", "");
        const auto run = unit.with (Unit::serialFile, content).with ("run/boot-serial", "OY777777\n").run ("word");
        EXPECT_EQ (1, run.countOf (expected)) << content.substr (0, 20) << run.describe();
        EXPECT_EQ (0, run.countOf ("Warning: Invalid Serial. Using Fallback for now."));
        EXPECT_EQ (expected == fetched, ! run.timesOf ("fw_printenv -n ORBIS_serial").empty());
    }
}

UNIT_TEST (Identity, isTheFallbackWhereThereIsNoSerialOrNoFile)
{
    for (const std::string make : { ":", "mkfifo", "ln -s /dev/zero", "mkdir" })
    {
        Unit unit ("", "");
        const auto run =
            unit.with ("run/boot-serial", make == ":" ? "" : "OY777777\n")
                .runShell (make +
                           " /home/root/ORBIStechnologies/Autosave1/serial.txt; timeout -s KILL 60 $daemon word");
        EXPECT_EQ (1, run.countOf ("Device ORBIS:tessel Serial OTDEMOMO with GUI ORBIStesselGUI"))
            << make << run.describe();
        EXPECT_EQ (make == "mkdir" ? 0U : 1U, run.timesOf ("fw_printenv -n ORBIS_serial").size()) << make;
        EXPECT_TRUE (std::filesystem::exists (unit.folder / Unit::serialFile)) << "the fetch makes it";
    }
}

TEST (Identity, keepsTheFirstTypeAndSerialFound)
{
    if (std::getenv ("UNIT_PRELOAD") != nullptr) // in the unit: the second part of this test starts it there
    {
        EXPECT_EQ (0, OrbisUtils::getTesselType ("XX"));
        EXPECT_EQ (0, OrbisUtils::getTesselType ("ox123456"));
        EXPECT_EQ (2000, OrbisUtils::getTesselType ("")) << "the first read of the serial";
        EXPECT_EQ ("OD123456", OrbisUtils::getSerial (false).toStdString());
        EXPECT_EQ (2000, OrbisUtils::getTesselType ("OZ000001"));
        std::ofstream ("/home/root/ORBIStechnologies/Autosave1/serial.txt") << "OZ000001";
        EXPECT_EQ ("OD123456", OrbisUtils::getSerial (false).toStdString());
        return;
    }

    if (! Unit::isPossible())
        return;

    const auto run =
        Unit().runShell ("with-clock /opt/build/tests/identity_test --gtest_filter=*keepsTheFirstType*");
    EXPECT_EQ (0, run.status) << run.output;
    expectParts (run.output, { "[  PASSED  ] 1 test" });
}

UNIT_TEST (Identity, backsUpTheGnupgFolderOnce)
{
    Unit unit ("OT123456", "");
    unit.with ("home/config/.gnupg/key", "secret").runShell ("$daemon a; $daemon b");
    const auto run = unit.runShell ("cat /home/root/gnupg_save/key >&2");
    EXPECT_EQ ("secret", run.complaints);
    EXPECT_EQ (1U, run.timesOf ("mount -o remount,rw /home").size());
    EXPECT_EQ (1U, run.timesOf ("mount -o remount,ro /home").size());
}
