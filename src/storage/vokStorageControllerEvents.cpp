// Events of the controller and its disks: when one is raised, polling, arrival and removal.
#include "core/base/vokLog.h"
#include "platform/access/vokScsi.h"
#include "platform/places/vokPhysLocInterface.h"
#include "storage/SASResourceManager.h"
#include "storage/vokStorageController.h"
#include "storage/vokStorageControllerStatus.h"

namespace {

constexpr char module[] = "STOR_CTLR";

// What the log says of a change: current before previous, state before health.
struct ChangeTexts {
    ChangeTexts(const vokStatusInfo& currentStatus, const vokStatusInfo& previousStatus)
        : state(currentStatus.stateText()),
          previousState(previousStatus.stateText()),
          health(currentStatus.healthText()),
          previousHealth(previousStatus.healthText()) {}

    const char* state;
    const char* previousState;
    const char* health;
    const char* previousHealth;
};

}  // namespace

bool vokStorageController::generateEventOnStatusChange() {
    const vokMutexLocker locker(lock);
    const std::string location = currentInfo.getPhysicalLocation();
    if (previousInfo.getHealth() == currentInfo.getHealth() || !vokIsKnownPhysLoc(location) ||
        location != previousInfo.getPhysicalLocation())
        return false;

    const ChangeTexts change(currentInfo, previousInfo);
    VOK_LOG_DEBUG(module,
                  "%s: Detected controller status change. [CurrState=%s, PrevState=%s, CurrHealth=%s, "
                  "PrevHealth=%s]",
                  pciLocation.c_str(), change.state, change.previousState, change.health,
                  change.previousHealth);
    const vokControllerEvent* const found =
        vokControllerEventOf(previousInfo.getHealth(), currentInfo.getHealth(), lastControllerEvent);
    if (!found) {
        VOK_LOG_DEBUG(module,
                      "%s: Event not generated for controller status change. [CurrState=%s, PrevState=%s, "
                      "CurrHealth=%s, PrevHealth=%s]",
                      pciLocation.c_str(), change.state, change.previousState, change.health,
                      change.previousHealth);
        return false;
    }
    lastControllerEvent = found->outcome;
    SASResourceManager::generateEvent(found->event.id, found->event.isService, currentInfo);
    return true;
}

bool vokStorageController::generateEventOnStatusChange(vokDiskInfo* current, vokDiskInfo* previous) {
    const std::string previousLink = previous->getOSSCSILink();
    const std::string link = previousLink.empty() ? current->getOSSCSILink() : previousLink;
    // Of a disk that the stop kept from answering nothing is known.
    if (current->getState() == previous->getState() || vokIsScsiRefused()) return false;

    const ChangeTexts change(*current, *previous);
    const std::string oldLocation = previous->getPhysicalLocation();
    const std::string newLocation = current->getPhysicalLocation();
    const std::string location = vokIsKnownPhysLoc(oldLocation) ? oldLocation : newLocation;
    if (!vokIsKnownPhysLoc(location)) {
        VOK_LOG_DEBUG(module,
                      "%s: Invalid physical location detected. [OldLoc=%s, NewLoc=%s, CurrState=%s, "
                      "PrevState=%s, CurrHealth=%s, PrevHealth=%s]",
                      link.c_str(), oldLocation.c_str(), newLocation.c_str(), change.state,
                      change.previousState, change.health, change.previousHealth);
        return false;
    }
    VOK_LOG_DEBUG(module,
                  "%s: %s - Detected disk status change. [CurrState=%s, PrevState=%s, CurrHealth=%s, "
                  "PrevHealth=%s]",
                  pciLocation.c_str(), link.c_str(), change.state, change.previousState, change.health,
                  change.previousHealth);

    const vokStatusEvent* const event = vokDiskEventOf(previous->getState(), current->getState());
    if (!event) {
        VOK_LOG_DEBUG(module, "%s: Event not generated for disk status change.", link.c_str());
        return false;
    }
    if (current->getState() == VOK_STATE_RUNNING) current->setEventInfoString("");
    SASResourceManager::generateEvent(event->id, location, event->isService, *current);
    return true;
}

int vokStorageController::enableEvents() {
    const vokMutexLocker locker(lock);
    if (isRemoved()) return 0;
    // Flags that were taken over from a removed controller count: its arrival has been reported already.
    const bool wasEnabled = (eventFlags & vokEventsEnabled) != 0;
    eventFlags |= vokEventsEnabled;
    if (!wasEnabled && getNewDevice() && !getFoundOnFirstDiscoveryPass()) raiseArrivalEvents();
    return 1;
}

void vokStorageController::raiseArrivalEvents() {
    previousInfo.setLost();
    generateEventOnStatusChange();
    previousInfo = currentInfo;
    for (std::size_t i = 0; i < currentDrives.size() && i < previousDrives.size(); ++i) {
        previousDrives[i].setLost();
        generateEventOnStatusChange(&currentDrives[i], &previousDrives[i]);
        previousDrives[i] = currentDrives[i];
    }
}

bool vokStorageController::isEventsEnabled() {
    return true;
}

int vokStorageController::disableEvents() {
    const vokMutexLocker locker(lock);
    if (isRemoved()) return 0;
    eventFlags &= ~static_cast<std::uint32_t>(vokEventsEnabled);
    return 1;
}

void vokStorageController::poll() {
    pollPorts();
    pollDrives();
}

void vokStorageController::pollPorts() {
    const vokMutexLocker locker(lock);
    if (isRemoved() || !raisesControllerEvents()) return;
    bool isChanged = false;
    for (unsigned int i = 0; i < currentInfo.getControllerPortListSize(); ++i) {
        const vokStorageControllerPortInfo stored = currentInfo.getControllerPort(i);
        vokStorageControllerPortInfo port = stored;
        discoverControllerPortStatus(port);
        if (port.getState() == stored.getState() && port.getHealth() == stored.getHealth()) continue;
        const ChangeTexts change(port, stored);
        VOK_LOG_DEBUG(module, "%s: Detected port status change. [%s, %s, %s, %s]",
                      port.getOSInstanceName().c_str(), change.state, change.previousState, change.health,
                      change.previousHealth);
        currentInfo.setControllerPort(i, port);
        isChanged = true;
    }
    if (!isChanged) return;
    computeControllerStatus();
    if (generateEventOnStatusChange()) SASResourceManager::invalidateInventoryCache();
    previousInfo = currentInfo;
}

void vokStorageController::pollDrives() {
    const vokMutexLocker locker(lock);
    if (isRemoved() || !raisesDriveEvents()) return;
    for (std::size_t i = 0; i < currentDrives.size() && i < previousDrives.size(); ++i) {
        if (vokIsScsiRefused()) return;
        discoverPhysicalDiskStatus(currentDrives[i]);
        if (generateEventOnStatusChange(&currentDrives[i], &previousDrives[i]))
            SASResourceManager::invalidateInventoryCache();
        previousDrives[i] = currentDrives[i];
    }
}

void vokStorageController::processDeviceRemoval() {
    {
        const vokMutexLocker locker(lock);
        VOK_LOG_DEBUG(module, "Controller @ [%s] removal processing started.", pciLocation.c_str());
        setRemoved();
        for (unsigned int i = 0; i < currentInfo.getControllerPortListSize(); ++i) {
            vokStorageControllerPortInfo port = currentInfo.getControllerPort(i);
            port.setLost();
            currentInfo.setControllerPort(i, port);
        }
        computeControllerStatus();
        if (raisesControllerEvents()) generateEventOnStatusChange();
        previousInfo = currentInfo;

        for (std::size_t i = 0; i < currentDrives.size(); ++i) {
            vokDiskInfo& drive = currentDrives[i];
            if (drive.getDeviceMissing()) continue;
            // Required: this text here too, although nobody has asked for the protocol.
            drive.setEventInfoString("Unable to determine the transport protocol of the disk drive.");
            drive.setLost();
            if (i >= previousDrives.size()) continue;
            if (raisesDriveEvents()) generateEventOnStatusChange(&drive, &previousDrives[i]);
            previousDrives[i] = drive;
        }
    }
    dropReference();
}

void vokStorageController::processDeviceAddition(IvokStorageController* old) {
    const vokMutexLocker locker(lock);
    auto* const removed = dynamic_cast<vokStorageController*>(old);
    if (!removed) return;
    const vokMutexLocker removedLocker(removed->lock);
    currentInfo = removed->currentInfo;
    currentDrives = removed->currentDrives;
    previousInfo = removed->previousInfo;
    previousDrives = removed->previousDrives;
    eventFlags = removed->eventFlags;
}
