// The records of a logical disk, which is a volume of a RAID controller.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "storage/vokClonePtr.h"
#include "storage/vokDiskInfo.h"
#include "storage/vokLogicalDiskConsistencyCheckStateBase.h"
#include "storage/vokRecordField.h"
#include "storage/vokRecordList.h"
#include "storage/vokStatusInfo.h"

class vokLogicalDiskOEMInfo : public virtual vokInventoryBase {
public:
    Json::Value getVariableData() const override;   // {"DeviceName", "HostControllerPhysicalLocation"}
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(DeviceName);                      // of the operating system
    VOK_RECORD_TEXT(HostControllerPhysicalLocation);  // sixteen hexadecimal digits
};

class vokLogicalDiskInfo : public virtual vokInventoryBase,
                           public vokStatusInfo,
                           public vokLogicalDiskOEMInfo {
public:
    Json::Value getVariableData() const override;   // {"Type": "Volume", "Data", "EventInfo"}
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(DurableName);  // identifies the volume from one discovery to the next
    VOK_RECORD_TEXT(RAIDLevel);    // "VolumeType" of the JSON
    VOK_RECORD_VALUE(unsigned long long, CapacityBytes, 0);

public:
    // The serial numbers of the member disks; one that is not there reads as an empty text.
    virtual std::vector<std::string> getPhysicalDiskVector() const { return physicalDisks_.items(); }
    virtual std::string getPhysicalDisk(unsigned int index) const { return physicalDisks_.at(index); }
    virtual void setPhysicalDisk(unsigned int index, std::string serialNumber) {
        physicalDisks_.set(index, std::move(serialNumber));
    }
    virtual void addPhysicalDisk(std::string serialNumber) { physicalDisks_.add(std::move(serialNumber)); }
    virtual void clearPhysicalDiskList() { physicalDisks_.clear(); }
    virtual unsigned int getPhysicalDiskListSize() const { return physicalDisks_.size(); }
    virtual void deletePhysicalDisk(unsigned int index) { physicalDisks_.remove(index); }

private:
    vokRecordList<std::string> physicalDisks_;

    VOK_RECORD_TEXT(Description);
    VOK_RECORD_TEXT(LogicalDiskID);                       // the target id in decimal
    VOK_RECORD_TEXT(EventInfoString);                     // the text of the next event
    VOK_RECORD_VALUE(bool, DeviceMissing, false);         // the volume has gone, and its record is kept
    VOK_RECORD_VALUE(bool, DeletedEventReceived, false);  // its deletion was reported

public:
    // The consistency check that runs, and the last one that ended. The record owns both; null without one.
    virtual vokLogicalDiskConsistencyCheckStateBase* getCurrentCCState() const {
        return currentCCState_.get();
    }
    virtual void setCurrentCCState(std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> state) {
        currentCCState_ = CCState(std::move(state));
    }
    virtual vokLogicalDiskConsistencyCheckStateBase* getPreviousCCState() const {
        return previousCCState_.get();
    }
    virtual void setPreviousCCState(std::unique_ptr<vokLogicalDiskConsistencyCheckStateBase> state) {
        previousCCState_ = CCState(std::move(state));
    }

    // A current and a previous state of this class, as they are before the first check.
    template <typename State>
    void initializeConsistencyCheckState() {
        setCurrentCCState(std::make_unique<State>());
        setPreviousCCState(std::make_unique<State>());
    }
    // Replaces both states by copies of those of `source`, which may be this record.
    void cloneConsistencyCheckState(const vokLogicalDiskInfo& source);
    void cleanExistingObjReferences();  // leaves no states

    // Like the assignment: every field, and copies of both states.
    void copy(const vokLogicalDiskInfo& source) { *this = source; }

private:
    using CCState = vokClonePtr<vokLogicalDiskConsistencyCheckStateBase>;

    CCState currentCCState_;
    CCState previousCCState_;
};

// A volume with the whole records of its member disks, for an event that describes each of them.
class vokLogicalDiskExtInfo : public virtual vokInventoryBase, public vokLogicalDiskOEMInfo {
public:
    vokLogicalDiskExtInfo() = default;
    // Takes what describes the volume, and no member disks.
    explicit vokLogicalDiskExtInfo(const vokLogicalDiskInfo& volume);

    Json::Value getVariableData() const override;   // like that of vokLogicalDiskInfo, with whole drives
    Json::Value getInventoryData() const override;  // null

    VOK_RECORD_TEXT(DurableName);
    VOK_RECORD_TEXT(RAIDLevel);
    VOK_RECORD_VALUE(unsigned long long, CapacityBytes, 0);
    VOK_RECORD_TEXT(Description);
    VOK_RECORD_TEXT(LogicalDiskID);
    VOK_RECORD_TEXT(EventInfoString);

public:
    const std::vector<vokDiskInfo>& getPhysicalDiskVector() const { return physicalDisks_.items(); }
    void addPhysicalDisk(vokDiskInfo disk) { physicalDisks_.add(std::move(disk)); }

private:
    vokRecordList<vokDiskInfo> physicalDisks_;
};
