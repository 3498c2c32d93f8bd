#include "megaraid/EveryEventFixture.h"

#include <iterator>

#include "core/base/vokConfig.h"
#include "events/vokEvent.h"
#include "events/vokEventHandler.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "megaraid/vokMegaRAIDLogicalDiskConsistencyCheckState.h"
#include "platform/utils/vokUtils.h"
#include "support/DeliveredEvents.h"
#include "support/LoggedLines.h"
#include "support/SmBiosTable.h"

namespace {

constexpr unsigned insertionCode = 0x5B;
constexpr unsigned stateChangeCode = 0x72;
constexpr int insertedSlots = 10;  // the first

using CheckState = vokMegaRAIDLogicalDiskConsistencyCheckState;

constexpr std::uint32_t controllerId = 7;
constexpr char place[] = "0000:5e:00.0";
constexpr char controllerSerial[] = "SV00000001";
constexpr char controllerLocation[] = "000000000000CC00";
constexpr char diskLocation[] = "000000000000DD01";
constexpr char unknownLocation[] = "FFFFFFFFFFFFFFFF";
constexpr char description[] = "What the firmware says";
constexpr char textBefore[] = "text of an event before";
constexpr int enclosure = 252;
constexpr int diskSlot = 1;
constexpr int otherSlot = 99;
constexpr char serial[] = "PD1";
constexpr int target = 3;

// --- what the agent causes ---

// The lines of the analysis, as loggedLines() has them, and requests to the inventory.
class JournalLog : public FakeSystemLog {
public:
    explicit JournalLog(std::string& journal) : journal_(journal) {}

    void write(int, const std::string& text) override {
        const std::size_t levelEnd = text.find(']');
        const std::size_t number = text.find_first_of("0123456789", levelEnd);
        const std::size_t module = text.find(' ', number) + 1;
        const auto is = [&](const char* tag) {
            return text.compare(module, std::string(tag).size(), tag) == 0;
        };
        if (is("STOR_MR: ") || is("LSIMR_CC_EVT_HNDLR: "))
            journal_.append(text, 1, levelEnd - 1).append(" ").append(text, module).append("\n");
        else if (is("SAS_RM: Invalidating inventory cache."))
            journal_ += "refresh\n";
        else if (is("SAS_RM: Signalling for inventory push to RMC on cache build."))
            journal_ += "push\n";
    }

private:
    std::string& journal_;
};

// Catches events where their delivery would start: a thread for each would take too long, and the flag of an
// event is not sent.
class CaughtEvents : public FakeThreads {
public:
    explicit CaughtEvents(std::string& journal) : journal_(journal) {}

    int start(pthread_t* thread, void* (*body)(void*), void* argument) override {
        if (body != startEventGeneration) return FakeThreads::start(thread, body, argument);
        const vokEvent& event = *static_cast<const vokEvent*>(argument);
        journal_ +=
            DecisionOracle::eventLine(event.getEventID(), event.getisServiceEvent(), event.getPhyLoc(),
                                      event.getVariableData()["EventInfo"].asString());
        isCaught_ = true;
        return 0;
    }
    int join(pthread_t thread) override {
        if (!isCaught_) return FakeThreads::join(thread);
        isCaught_ = false;
        return 0;
    }

private:
    std::string& journal_;
    bool isCaught_ = false;
};

// --- its subjects ---

// Differs from what any event sets, and the health from the event health.
DecisionSubject subjectBefore(int eventHealth) {
    DecisionSubject subject;
    subject.state = VOK_STATE_OTHER;
    subject.health = (eventHealth + 1) % EveryEventFixture::healths;
    subject.eventState = VOK_STATE_BYPASSED;
    subject.eventHealth = eventHealth;
    subject.text = textBefore;
    return subject;
}

template <typename Record>
void setStatus(Record& record, const DecisionSubject& subject) {
    record.setState(static_cast<VOK_RESOURCE_STATE>(subject.state));
    record.setHealth(static_cast<VOK_RESOURCE_HEALTH>(subject.health));
    record.setEventState(static_cast<VOK_RESOURCE_STATE>(subject.eventState));
    record.setEventHealth(static_cast<VOK_RESOURCE_HEALTH>(subject.eventHealth));
    record.setEventInfoString(subject.text);
}

template <typename Record>
DecisionSubject statusOf(const Record& record) {
    DecisionSubject subject;
    subject.state = record.getState();
    subject.health = record.getHealth();
    subject.eventState = record.getEventState();
    subject.eventHealth = record.getEventHealth();
    subject.text = record.getEventInfoString();
    return subject;
}

void setCheck(vokLogicalDiskConsistencyCheckStateBase* state, const DecisionCheck& check) {
    auto& fields = *static_cast<CheckState*>(state);
    fields.setCCResult(check.result);
    fields.setCCFaultDetected(check.fault);
    fields.setCCEventMessage(check.message);
    fields.setCorrectedMediumErrorCount(check.corrected);
    fields.setUncorrectableMultipleMediumErrorCount(check.uncorrectable);
    fields.setInconsistentParityCount(check.parity);
    fields.setTooManyInconsistentParityDetected(check.tooMany);
}

DecisionCheck checkOf(const vokLogicalDiskConsistencyCheckStateBase* state) {
    const auto& fields = *static_cast<const CheckState*>(state);
    DecisionCheck check;
    check.result = fields.getCCResult();
    check.fault = fields.getCCFaultDetected();
    check.message = fields.getCCEventMessage();
    check.corrected = fields.getCorrectedMediumErrorCount();
    check.uncorrectable = fields.getUncorrectableMultipleMediumErrorCount();
    check.parity = fields.getInconsistentParityCount();
    check.tooMany = fields.getTooManyInconsistentParityDetected();
    return check;
}

DecisionSubject volumeOf(const vokLogicalDiskInfo& volume) {
    DecisionSubject subject = statusOf(volume);
    subject.deleted = volume.getDeletedEventReceived();
    subject.current = checkOf(volume.getCurrentCCState());
    subject.previous = checkOf(volume.getPreviousCCState());
    return subject;
}

void setVolume(vokLogicalDiskInfo& volume, const DecisionSubject& subject) {
    setStatus(volume, subject);
    volume.setDeletedEventReceived(subject.deleted);
    setCheck(volume.getCurrentCCState(), subject.current);
    setCheck(volume.getPreviousCCState(), subject.previous);
}

vokLogicalDiskInfo newVolume(const char* id, const char* member) {
    vokLogicalDiskInfo volume;
    volume.setLogicalDiskID(id);
    volume.addPhysicalDisk(member);
    volume.initializeConsistencyCheckState<CheckState>();
    return volume;
}

vokDiskInfo newDisk(const std::string& diskSerial, int slot) {
    vokDiskInfo disk;
    disk.setSerialNumber(diskSerial);
    disk.setSlot(std::to_string(enclosure) + ":" + std::to_string(slot));
    disk.setPhysicalLocation(diskLocation);
    return disk;
}

// The codes of a row, or one that stands for any.
std::vector<unsigned> codesOfRow(const DecisionData& data, std::size_t row) {
    const std::string& cell = data.cell(row, "code");
    if (cell == "any") return {0x10};
    std::vector<unsigned> codes;
    for (std::size_t begin = 0; begin < cell.size(); begin = cell.find("0x", begin + 1))
        codes.push_back(static_cast<unsigned>(std::stoul(cell.substr(begin), nullptr, 16)));
    return codes;
}

}  // namespace

// Those of each row of states, their neighbours, and some in whose high half other bits are set.
const std::vector<std::uint32_t> EveryEventFixture::firmwareStates = {
    0,  1,  2,  3,  15, 16, 17, 18,  19,     20,         21,      23,      24,
    25, 31, 32, 33, 63, 64, 65, 255, 0xFFFF, 0x10000011, 0x10000, 0x10014, 0xFFFF0063};

const std::vector<EveryEventFixture::DiskReference> EveryEventFixture::diskReferences = {
    {serial, serial, enclosure, diskSlot, true},           // by its serial number and its slot
    {serial, serial, enclosure, otherSlot, true},          // by its serial number
    {serial, serial, -1, -1, true},                        // the same without a slot
    {serial, vokNotAvailable, enclosure, diskSlot, true},  // by its slot
    {"", "", enclosure, diskSlot, true},                   // the same without serial numbers
    {serial, vokNotAvailable, enclosure, otherSlot, false},
    {serial, vokNotAvailable, enclosure, -1, false},
    {serial, vokNotAvailable, -1, diskSlot, false},
    {"", "", -1, -1, false},
};

const std::vector<int> EveryEventFixture::insertedStates = {24, 0, 2, 32, 64, 20, 1, 16, 17, 99};

void EveryEventFixture::beginCase(const std::string& category, unsigned code, int eventClass) {
    event_.category = category;
    event_.code = code;
    event_.eventClass = eventClass;
    event_.found = true;
    event_.hasSlot = true;
    event_.forwards = judged_.forwards;
    event_.gate = judged_.gate;
    event_.firmwareState = 0;
    event_.location.clear();
    event_.volumeId = "3";
    detail_.eventLocale = category;
    detail_.eventCode = code;
    detail_.eventClass = static_cast<std::uint32_t>(eventClass);
    detail_.driveSerial = vokNotAvailable;
    detail_.enclosure = detail_.slot = detail_.targetId = -1;
    detail_.extraValue = 0;
}

void EveryEventFixture::analyze() {
    event_.words = {std::to_string(event_.eventClass),
                    std::to_string(event_.code),
                    controllerSerial,
                    description,
                    std::to_string(detail_.enclosure),
                    std::to_string(detail_.enclosure),
                    std::to_string(event_.firmwareState),
                    event_.location,
                    place,
                    detail_.driveSerial,
                    std::to_string(detail_.slot),
                    std::to_string(detail_.targetId)};
    journal_.clear();
    controller_->analyzeAndGenerateEvent(&detail_);
}

// Compares what the agent has made of the case with what it must.
void EveryEventFixture::judge(const DecisionOracle& oracle, DecisionSubject expected,
                              const DecisionSubject& actual) {
    const std::string expectedJournal = oracle.judge(event_, expected);
    ++cases_;
    if (expectedJournal == journal_ && expected == actual) return;
    if (++differences_ > 20) return;
    firstDifferences_ += event_.category + " code " + std::to_string(event_.code) + " class " +
                         std::to_string(event_.eventClass) + (event_.found ? " found" : " absent") +
                         " firmware state " + std::to_string(event_.firmwareState) + "\nexpected:\n" +
                         expectedJournal + describe(expected) + "actual:\n" + journal_ + describe(actual);
}

void EveryEventFixture::judgeVolume(const DecisionOracle& oracle, unsigned code, int eventClass, bool found,
                                    const DecisionSubject& before) {
    beginCase("LD_EVENT", code, eventClass);
    event_.found = found;
    detail_.targetId = found ? target : target + 1;
    vokLogicalDiskInfo& volume = controller_->currentLogicalDisks.front();
    setVolume(volume, before);
    analyze();
    judge(oracle, before, volumeOf(volume));
}

void EveryEventFixture::judgeDisk(const DecisionOracle& oracle, unsigned code, int eventClass,
                                  const DiskReference& reference, std::uint32_t extraValue,
                                  const DecisionSubject& before) {
    beginCase("PD_EVENT", code, eventClass);
    event_.found = reference.isFound;
    event_.hasSlot = reference.eventEnclosure >= 0 && reference.eventSlot >= 0;
    event_.firmwareState = code == insertionCode ? -1 : static_cast<int>(extraValue & 0xFFFF);
    event_.location = diskLocation;
    detail_.driveSerial = reference.eventSerial;
    detail_.enclosure = reference.eventEnclosure;
    detail_.slot = reference.eventSlot;
    detail_.extraValue = extraValue;
    vokDiskInfo& disk = controller_->currentDrives.front();
    disk.setSerialNumber(reference.inventorySerial);
    setStatus(disk, before);
    analyze();
    judge(oracle, before, statusOf(disk));
}

void EveryEventFixture::judgeInsertion(const DecisionOracle& oracle, int eventClass, std::size_t index,
                                       bool isInInventory, const DecisionSubject& before) {
    beginCase("PD_EVENT", insertionCode, eventClass);
    event_.firmwareState = insertedStates[index];
    event_.location = unknownLocation;
    const int slot = insertedSlots + static_cast<int>(index);
    detail_.enclosure = enclosure;
    detail_.slot = slot;
    auto& disks = controller_->currentDrives;
    const std::size_t count = disks.size();
    disks.front() = newDisk(serial, isInInventory ? slot : diskSlot);
    setStatus(disks.front(), before);
    analyze();
    if (isInInventory) {
        judge(oracle, before, statusOf(disks.front()));
    } else {
        EXPECT_EQ(disks.size(), count + 1);
        EXPECT_EQ(statusOf(disks.front()), before);
        judge(oracle, DecisionSubject(), statusOf(disks.back()));
    }
    const vokDiskInfo& inserted = isInInventory ? disks.front() : disks.back();
    EXPECT_EQ(inserted.getSerialNumber(), "NEW" + std::to_string(index));
    EXPECT_EQ(inserted.getSlot(), "252:" + std::to_string(slot));
    disks.resize(count);
    disks.front() = newDisk(serial, diskSlot);
}

void EveryEventFixture::judgeController(const DecisionOracle& oracle, const std::string& category,
                                        unsigned code, int eventClass, const DecisionSubject& before) {
    beginCase(category, code, eventClass);
    event_.location = controllerLocation;
    setStatus(controller_->currentInfo, before);
    analyze();
    judge(oracle, before, statusOf(controller_->currentInfo));
}

void EveryEventFixture::judgeEvents(const DecisionOracle& oracle, const std::string& category, unsigned code,
                                    int eventClass) {
    for (int health = 0; health < healths; ++health) {
        if (judged_.onlyHealth >= 0 && judged_.onlyHealth != health) continue;
        const DecisionSubject before = subjectBefore(health);
        if (category == "LD_EVENT") {
            for (const bool found : {true, false}) judgeVolume(oracle, code, eventClass, found, before);
        } else if (category == "PD_EVENT") {
            for (const DiskReference& reference : diskReferences)
                judgeDisk(oracle, code, eventClass, reference, 0, before);
            if (code == stateChangeCode)
                for (const std::uint32_t state : firmwareStates)
                    judgeDisk(oracle, code, eventClass, diskReferences[0], state, before);
            if (code == insertionCode && isLibraryBuilt_)
                for (std::size_t index = 0; index < insertedStates.size(); ++index)
                    for (const bool isInInventory : {true, false})
                        judgeInsertion(oracle, eventClass, index, isInInventory, before);
        } else {
            judgeController(oracle, category, code, eventClass, before);
        }
    }
}

void EveryEventFixture::judgeAll(const std::string& category) {
    const DecisionOracle oracle(decisions, checks);
    for (unsigned code = 0; code < DecisionOracle::codes; ++code)
        for (const int eventClass : classes) judgeEvents(oracle, category, code, eventClass);
}

void EveryEventFixture::judgeChecks(const DecisionOracle& oracle, unsigned code, int eventClass) {
    DecisionSubject before = subjectBefore(VOK_HEALTH_OK);
    before.previous = {5, true, "of the check before", 9, 8, 7, false};
    const DecisionCheck currentChecks[allChecks] = {{},
                                                    {0, true, "the first fault", 2, 0, 0, false},
                                                    {0, true, "the first fault", 0, 1, 0, false},
                                                    {0, true, "the first fault", 0, 0, 10, true},
                                                    {0, true, "the first fault", 3, 20, 100, true},
                                                    {0, false, "", 0, 0, 0, true}};
    for (const DecisionCheck& check : currentChecks) {
        before.current = check;
        judgeVolume(oracle, code, eventClass, true, before);
    }
}

const std::string& EveryEventFixture::journalOf(const std::string& category, unsigned code, int eventClass) {
    beginCase(category, code, eventClass);
    detail_.targetId = target;
    detail_.driveSerial = serial;
    detail_.enclosure = enclosure;
    detail_.slot = diskSlot;
    journal_.clear();
    controller_->analyzeAndGenerateEvent(&detail_);
    return journal_;
}

void EveryEventFixture::setAll(int eventHealth) {
    const DecisionSubject status = subjectBefore(eventHealth);
    setVolume(controller_->currentLogicalDisks.front(), status);
    setStatus(controller_->currentDrives.front(), status);
    setStatus(controller_->currentInfo, status);
}

void EveryEventFixture::expectAllUnchanged(int eventHealth) const {
    const DecisionSubject status = subjectBefore(eventHealth);
    EXPECT_EQ(volumeOf(controller_->currentLogicalDisks.front()), status);
    EXPECT_EQ(statusOf(controller_->currentDrives.front()), status);
    EXPECT_EQ(statusOf(controller_->currentInfo), status);
}

bool EveryEventFixture::isFound(const DecisionData& wrongDecisions, std::size_t row) {
    const DecisionOracle oracle(wrongDecisions, checks);
    differences_ = 0;
    for (const unsigned code : codesOfRow(decisions, row))
        for (const int eventClass : classes) {
            judgeEvents(oracle, decisions.cell(row, "category"), code, eventClass);
            if (differences_ > 0) return true;
        }
    return false;
}

bool EveryEventFixture::isFoundInChecks(const DecisionData& wrongChecks, std::size_t row) {
    const DecisionOracle oracle(decisions, wrongChecks);
    differences_ = 0;
    for (const unsigned code : codesOfRow(checks, row)) judgeChecks(oracle, code, vokEventClassInformation);
    return differences_ > 0;
}

void EveryEventFixture::expectNoDifference(long cases) const {
    EXPECT_EQ(cases_, cases);
    EXPECT_EQ(differences_, 0) << firstDifferences_;
}

EveryEventFixture::EveryEventFixture(const JudgedHost& judged)
    : judged_(judged), controller_(new JudgedController(controllerId)) {
    host_.add<CaughtEvents>(journal_);
    host_.add<JournalLog>(journal_);
    logEverything(host_, std::string("\"ForwardAllMegaRAIDCriticalOrHigherEvents\": \"") +
                             (judged.forwards ? "true" : "false") +
                             "\", \"DisableMegaRAID9560LoadingInspection\": \"" + judged.inspectionDisabled +
                             "\"");
    if (judged.maker) {
        host_.root.writeFile(SmBiosTable::deviceFile,
                             SmBiosTable().addSystem(judged.maker, judged.family).addEnd().contents());
        vokUtils::initializeSMBIOS();
    }
    letEventsPass(ipmi_);
    // Settings are read once in a process.
    EXPECT_EQ(vokConfig::getInstance()->isForwardAllMegaRAIDCriticalOrHigherEventsEnabled(), judged.forwards);
    detail_.controllerId = controllerId;
    detail_.controllerSerial = controllerSerial;
    detail_.description = description;
    controller_->setIdentity(judged.chipset, judged.board, place);
    controller_->setDeviceName(controllerSerial);
    controller_->currentInfo.setSerialNumber(controllerSerial);
    controller_->currentInfo.setChipsetID(judged.chipset);
    controller_->currentInfo.setBoardID(judged.board);
    controller_->currentInfo.setPhysicalLocation(controllerLocation);
    controller_->currentDrives = {newDisk(serial, diskSlot), newDisk("PD2", 2)};
    controller_->currentLogicalDisks = {newVolume("3", serial), newVolume("13", "PD2")};
}

EveryEventFixture::~EveryEventFixture() {
    // No event is about the second disk or the second volume.
    EXPECT_EQ(statusOf(controller_->currentDrives.at(1)), DecisionSubject());
    EXPECT_EQ(volumeOf(controller_->currentLogicalDisks.at(1)), DecisionSubject());
}

void EveryEventFixture::buildLibraryInventory() {
    FakeRaidController raid;
    raid.id = controllerId;
    raid.serial = controllerSerial;
    for (std::size_t i = 0; i < insertedStates.size(); ++i) {
        FakeRaidDisk disk;
        disk.deviceId = static_cast<std::uint16_t>(i + 1);
        disk.slot = static_cast<std::uint8_t>(insertedSlots + i);
        disk.state = static_cast<std::uint16_t>(insertedStates[i]);
        disk.serial = "NEW" + std::to_string(i);
        raid.disks.push_back(disk);
    }
    library_.controllers = {raid};
    ASSERT_TRUE(vokStoreLibInterface::getInstance()->vokStoreInit());
    vokStoreLibInterface::getInstance()->cacheBuild("All");
    ASSERT_EQ(vokStoreLibInterface::getInstance()->getPDInventoryForCtrl(controllerId).size(),
              insertedStates.size());
    isLibraryBuilt_ = true;
}
