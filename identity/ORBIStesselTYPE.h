#pragma once

/** The products of the family. Only the types with a serial prefix (see OrbisUtils) can be this unit's own; the
    others exist for the applications that share this enumeration. The underlying type is fixed, so that every
    number handed over by one of them is a value that can be held.
*/
enum ORBIStesselTYPE : int
{
    TYPE_UNKNOWN = 0,
    TYPE_MARBLE = 10,
    TYPE_MARBLE_19 = 50,
    TYPE_ZENITH = 100,
    TYPE_PAD = 200,
    TYPE_LUMO = 400,
    TYPE_TESSEL = 1000,
    TYPE_DMI_ORBIS = 2000,
    TYPE_PXRVN = 3000,
    TYPE_PXLVN = 4000
};
