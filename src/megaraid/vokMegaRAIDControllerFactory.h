// The factory of the RAID controllers behind the vendor's library. A controller is identified by its serial
// number.
#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "megaraid/storelib/vokStoreLibInventory.h"
#include "storage/vokStorageControllerFactory.h"

class vokMegaRAIDControllerFactory : public vokStorageControllerFactory {
public:
    // Lives as long as the process. Registered when the library is loaded.
    static vokMegaRAIDControllerFactory* getInstance();

    void discoverControllers(std::vector<IvokStorageController*>& out) override;
    void shutdownFactory() override;
    void poll() override;  // does nothing
    std::vector<std::tuple<unsigned int, unsigned int>>& getSupportedControllerModels() override;
    // All held controllers; the caller drops one reference on each.
    using vokStorageControllerFactory::getControllers;
    virtual void getControllers(std::vector<IvokStorageController*>& out);

    // Marks every held controller as not detected.
    void resetControllerDetection();

private:
    vokMegaRAIDControllerFactory() = default;
    ~vokMegaRAIDControllerFactory() = default;

    // Loads the library and reads the caches, unless that is done. False if the library can't be used.
    bool loadLibrary();
    // Adds the controllers that the caches list. Returns those that they no longer list, which the factory
    // has given up, with its references.
    std::vector<IvokStorageController*> updateControllers();
    void addController(const CTRL_INFO& info);
    // Before removals: sets the count by which a removal knows that it is the last, whatever a discovery has
    // counted meanwhile. The lock is held.
    void countControllers() const;

    bool isLSILibLoaded = false;  // under lock
};
