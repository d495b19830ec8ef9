#pragma once

/** The products of the family. This unit can only be of a type with a serial prefix (see OrbisUtils). The other types
    are for the applications that share this enumeration. The underlying type is fixed, so that the enumeration can
    hold every number that they pass.
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
