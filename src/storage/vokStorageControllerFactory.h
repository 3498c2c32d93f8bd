// The factory of the controllers that the kernel shows as SCSI hosts: one object for each PCI function,
// however many hosts the function has. The registered classes are asked in turn who takes a controller; a
// model of another factory is left to it, and vokStorageController takes the rest.
#pragma once

#include <sys/stat.h>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "storage/IvokStorageController.h"
#include "storage/IvokStorageControllerFactory.h"
#include "storage/vokHeldReference.h"
#include "storage/vokRemoveLock.h"

class vokStorageController;

class vokStorageControllerFactory : public IvokStorageControllerFactory {
public:
    // Lives as long as the process.
    static vokStorageControllerFactory* getInstance();

    void discoverControllers(std::vector<IvokStorageController*>& out) override;
    void getControllers(unsigned char familyMask, std::vector<IvokStorageController*>& out) override;
    // Removes all controllers. They raise no events meanwhile.
    void shutdownFactory() override;
    // Requests a new inventory if a SCSI host or device has come or gone since the call before. The first
    // call only looks. For one thread.
    void poll() override;
    void deleteControllers(unsigned char familyMask) override;
    // Empty: this factory takes what no other one names.
    std::vector<std::tuple<unsigned int, unsigned int>>& getSupportedControllerModels() override;

    // The controller of these ids and this location, also one that was removed and that somebody still
    // holds; null without one.
    vokHeldReference<IvokStorageController> FindExistingController(unsigned int chipset, unsigned int board,
                                                                   const char* pciLocation,
                                                                   const char* second);

protected:
    vokStorageControllerFactory() = default;
    ~vokStorageControllerFactory() = default;

    // Guards the controllers. A factory whose events fetch them releases it to remove one.
    std::recursive_mutex lock;
    std::vector<IvokStorageController*> controllers;  // one reference each

private:
    struct Port;
    struct Directory;

    // Adds a port to its controller, which is created for its first port.
    void processPort(const std::string& path);
    // Null if no class takes it.
    static vokStorageController* claim(Port& port);
    // Drops what others have removed, and the weak references to what nobody holds any more.
    void letRemovedControllersGo();
    void removeControllersWithoutPorts();
    static bool hasChanged(const Directory& directory, struct stat& last);

    std::vector<std::tuple<unsigned int, unsigned int>> supportedModels;  // none
    std::vector<vokWeakReference> removedControllers;                     // the latest last; under lock
    bool changed = false;                                                 // in the walk; under lock
    // The latest lstat(2) of /sys/class/scsi_host and scsi_device; of the thread that polls.
    struct stat scsiHost {};
    struct stat scsiDevice {};
};
