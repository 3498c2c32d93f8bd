// Physical locations: the 64-bit code, as sixteen upper-case hexadecimal digits, by which the management
// controller locates a replaceable unit. A library of the platform's manufacturer computes the code; an
// implementation of this interface passes it the numbers of a device's GeoID.
// PCI addresses have the form "0000:3b:00.0". Failures are reported only by the return values listed here.
#pragma once

#include <string>

inline constexpr const char* vokUnknownPhysLoc = "FFFFFFFFFFFFFFFF";

// A location may also be empty, as long as nobody has looked it up.
inline bool vokIsKnownPhysLoc(const std::string& location) {
    return !location.empty() && location != vokUnknownPhysLoc;
}

class vokPhysLocInterface {
public:
    // Loads the library. False if it or one of its entry points is missing.
    virtual bool Initialize() = 0;
    virtual void UnInitialize() = 0;
    // The slot's number as text: "00" on board, "0" if unknown.
    virtual std::string getPCIeSlotForIOSlot(std::string pciAddress) = 0;
    // Locations: sixteen digits, "FFFFFFFFFFFFFFFF" if unknown.
    virtual std::string getPhysLocForIOSlot(std::string pciAddress) = 0;
    virtual std::string getPhysLocForNetworkAdapter(std::string pciAddress) = 0;
    virtual std::string getPhysLocForChassisDriveSlot(std::string pciAddress, int bay) = 0;
    virtual std::string getPhysLocForExternalDrive(std::string pciAddress) = 0;
    virtual std::string getPhysLocForChassisStorageBackplane(std::string pciAddress, int box) = 0;
    // 2 same chassis, 1 different chassis; -1 malformed address, -2 unknown GeoID, -3 no platform.
    virtual int checkPCIDevicesLocatedInSameChassis(std::string a, std::string b) = 0;
    // 2 on board, 3 add-in card, -4 unknown.
    virtual int checkIfPCICardIsOnBoard(std::string pciAddress) = 0;
    // Stores "r001u05" or "r001i02" and returns 0; -1 malformed address, -2 unknown GeoID, -4 no platform.
    virtual int getChassisLocationForIOSlot(std::string pciAddress, std::string& location) = 0;
    virtual ~vokPhysLocInterface() = default;
    virtual std::string getPhysLocLibraryName() = 0;
};
