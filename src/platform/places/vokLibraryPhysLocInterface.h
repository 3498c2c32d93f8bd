// Physical locations from a platform's location library: the part that the platforms share. Each platform
// adds a row of vokPhysLocPlatform.h and a class for its one instance.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

#include "platform/access/vokLibrary.h"
#include "platform/places/vokPhysLocInterface.h"
#include "platform/places/vokPhysLocPlatform.h"

class vokLibraryPhysLocInterface : public vokPhysLocInterface {
public:
    // Loads the library, once. False, with an error in the log, if it or an entry point is missing.
    bool Initialize() override;
    // Closes the library. No thread may be encoding.
    void UnInitialize() override;
    std::string getPCIeSlotForIOSlot(std::string pciAddress) override;
    std::string getPhysLocForIOSlot(std::string pciAddress) override;
    std::string getPhysLocForNetworkAdapter(std::string pciAddress) override;
    std::string getPhysLocForChassisDriveSlot(std::string pciAddress, int bay) override;
    std::string getPhysLocForExternalDrive(std::string pciAddress) override;
    std::string getPhysLocForChassisStorageBackplane(std::string pciAddress, int box) override;
    int checkPCIDevicesLocatedInSameChassis(std::string a, std::string b) override;
    int checkIfPCICardIsOnBoard(std::string pciAddress) override;
    int getChassisLocationForIOSlot(std::string pciAddress, std::string& location) override;
    std::string getPhysLocLibraryName() override;

    // Encodes the elements of a GeoID with the library. `subLocation` is a decimal number, or "NA" for none.
    // Takes no lock; safe from any thread. Returns sixteen digits, or "FFFFFFFFFFFFFFFF" on failure. Stores
    // in `rc`, unless it is null, 1 for a wrong number of elements or a missing library, otherwise the
    // library's result.
    virtual std::string physlocEncode(std::string pciAddress, std::vector<std::string> geoElements,
                                      physloc_type_t type, physloc_rtn_t* rc, std::string subLocation);

protected:
    vokLibraryPhysLocInterface(const vokPhysLocPlatform& platform, std::mutex& loadLock)
        : platform_(platform), loadLock_(loadLock) {}

private:
    bool hasAllElements(const std::vector<std::string>& elements, const std::string& pciAddress,
                        const char* what) const;

    const vokPhysLocPlatform& platform_;
    std::mutex& loadLock_;             // guards loading and unloading
    std::atomic<bool> loaded_{false};  // set after the two addresses
    vokLibrary library_;
    vokPhysLocInit initData_ = nullptr;
    vokPhysLocEncode encode_ = nullptr;
};
