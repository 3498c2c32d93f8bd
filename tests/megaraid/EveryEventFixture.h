// A controller with a disk and a volume, events about them and about itself, and the comparison of what the
// agent makes of an event with what DecisionOracle says. Not for tests of how events come or are delivered:
// the analysis is called directly, and an event ends where its delivery would start.
#pragma once

#include <gtest/gtest.h>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "megaraid/DecisionOracle.h"
#include "megaraid/storelib/vokSASEventDetail.h"
#include "megaraid/vokMegaRAIDController.h"
#include "storage/TestController.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/FakeStoreLib.h"
#include "support/FakeSystemLog.h"
#include "support/FakeThreads.h"

class JudgedController : public TestControllerOf<vokMegaRAIDController> {
public:
    using TestControllerOf::setIdentity;
    using TestControllerOf::TestControllerOf;
};

// What an event is judged on besides itself.
struct JudgedHost {
    bool forwards = false;
    const char* inspectionDisabled = "false";
    const char* maker = nullptr;  // without one, the host has no firmware table
    const char* family = nullptr;
    unsigned chipset = 0x005D1000;
    unsigned board = 0x93631000;
    int onlyHealth = -1;    // the one event health that is judged, if not every one
    const char* gate = "";  // which of the reasons of DecisionCase that is
};

class EveryEventFixture : public testing::Test {
public:
    static constexpr int classes[] = {-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    static constexpr int healths = 4;
    static constexpr long allKinds = DecisionOracle::codes * 12;  // codes and classes
    static constexpr std::size_t allChecks = 6;
    static const std::vector<std::uint32_t> firmwareStates;

    // How an event names its disk, and whether that is the disk of the inventory.
    struct DiskReference {
        const char* inventorySerial;
        const char* eventSerial;
        int eventEnclosure;
        int eventSlot;
        bool isFound;
    };
    static const std::vector<DiskReference> diskReferences;

    // The states of the disks that the library lists after buildLibraryInventory(), each in its own slot.
    static const std::vector<int> insertedStates;

protected:
    explicit EveryEventFixture(const JudgedHost& judged);
    ~EveryEventFixture() override;

    // Without a call an inserted disk is not found.
    void buildLibraryInventory();

    // The events of a category with this code and class, of each event health: with the subject in the
    // inventory and without it, of each state and in each way to name it. Counts the differences.
    void judgeEvents(const DecisionOracle& oracle, const std::string& category, unsigned code,
                     int eventClass);
    // The same of all codes and classes.
    void judgeAll(const std::string& category);
    // The events of a volume whose check stands in each of some ways.
    void judgeChecks(const DecisionOracle& oracle, unsigned code, int eventClass);
    // An event that names the disk and the volume of the inventory, of any category. Returns what it causes,
    // and counts nothing.
    const std::string& journalOf(const std::string& category, unsigned code, int eventClass);

    // Sets the disk, the volume and the controller to a status with this event health, and compares them.
    void setAll(int eventHealth);
    void expectAllUnchanged(int eventHealth) const;

    // True if some event that a row is about is judged otherwise by wrong data.
    bool isFound(const DecisionData& wrongDecisions, std::size_t row);
    bool isFoundInChecks(const DecisionData& wrongChecks, std::size_t row);
    // Fails the test with the first differences.
    void expectNoDifference(long cases) const;

    DecisionData decisions = DecisionData::read(VOK_MEGARAID_TEST_DATA "/decisions.csv");
    DecisionData checks = DecisionData::read(VOK_MEGARAID_TEST_DATA "/consistency-checks.csv");

private:
    void beginCase(const std::string& category, unsigned code, int eventClass);
    void analyze();
    void judge(const DecisionOracle& oracle, DecisionSubject expected, const DecisionSubject& actual);
    void judgeVolume(const DecisionOracle& oracle, unsigned code, int eventClass, bool found,
                     const DecisionSubject& before);
    void judgeDisk(const DecisionOracle& oracle, unsigned code, int eventClass,
                   const DiskReference& reference, std::uint32_t extraValue, const DecisionSubject& before);
    // Of the disk in one of the library's slots, where the inventory has a disk, or none.
    void judgeInsertion(const DecisionOracle& oracle, int eventClass, std::size_t index, bool isInInventory,
                        const DecisionSubject& before);
    void judgeController(const DecisionOracle& oracle, const std::string& category, unsigned code,
                         int eventClass, const DecisionSubject& before);

    const JudgedHost judged_;
    std::string journal_;
    FakeHost host_;
    FakeIpmi& ipmi_ = host_.add<FakeIpmi>();
    FakeStoreLib library_{host_};
    Held<JudgedController> controller_;
    VOK_SAS_EVENT_DETAIL detail_;
    DecisionCase event_;
    bool isLibraryBuilt_ = false;
    long cases_ = 0;
    long differences_ = 0;
    std::string firstDifferences_;
};
