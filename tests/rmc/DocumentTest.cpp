// The document assembled from the managers' inventories, and when the managers count as ready.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

#include "core/inventory/SampleManager.h"
#include "core/inventory/vokResources.h"
#include "rmc/StandInManagers.h"
#include "rmc/vokJsonAggregator.h"
#include "support/FakeClock.h"
#include "support/FakeHost.h"
#include "support/FakeIpmi.h"
#include "support/LoggedLines.h"

namespace DocumentTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Thrown out of a wait to end a thread's body that would otherwise run for ever.
struct EndOfTest {};

Json::Value named(const char* name) {
    Json::Value element;
    element["Name"] = name;
    return element;
}

class Document : public testing::Test {
protected:
    Document() {
        standInFor(0, &fibre);
        standInFor(1, &hostFacts);
        standInFor(2, &storage);
        standInFor(3, &ethernet);
        for (const int id : {4, 5, 6, 7}) standInFor(id, &reserved);
        fibre.elements = {named("f1"), named("f2")};
        hostFacts.elements = {named("first"), named("last")};
        storage.elements = {named("never read")};
        storage.elementsByType[1] = {named("c1"), named("c2")};
        storage.elementsByType[2] = {named("d1")};
        storage.elementsByType[3] = {named("v1"), named("v2")};
        storage.elementsByType[4] = {named("e1")};
        ethernet.elements = {named("n1"), named("n2"), named("n3")};
        reserved.elements = {named("reserved")};
        reserved.elementsByType[1] = reserved.elements;
    }
    // The readiness loop and what follows it, up to the first wait between two pushes.
    void runUntilThePushIsOver() {
        clock.onTimedWait = [this](const timespec&) -> bool {
            if (aggregator.isInventorySent()) throw EndOfTest{};
            ++pauses;
            return false;
        };
        EXPECT_THROW(aggregator.initializeCachePush(), EndOfTest);
    }

    FakeHost host;
    FakeClock& clock = host.part<FakeClock>();
    FakeIpmi& ipmi = host.add<FakeIpmi>();
    StandInManager fibre, hostFacts, storage, ethernet, reserved;
    vokJsonAggregator& aggregator = *vokJsonAggregator::getInstance();
    int pauses = 0;
};

TEST(DocumentKeys, AResourceBoundAfterTheKeysWereReadHasNoSectionAndAWarning) {
    FakeHost host;
    logEverything(host);
    static StandInManager manager;
    manager.elements = {named("f1")};
    const vokResource withoutKey[] = {vokResource{FIBRE_CHANNEL_DEVICES}};
    const vokResource withKey[] = {vokResource{FIBRE_CHANNEL_DEVICES}
                                       .managedBy([]() -> vokResourceManager* { return &manager; })
                                       .inDocument("FibreChannelDevices")};
    const vokResourceTable before = vokResources();
    vokBindResources(vokResourceTable(withoutKey));
    vokJsonAggregator& aggregator = *vokJsonAggregator::getInstance();  // reads the keys
    vokBindResources(vokResourceTable(withKey));
    EXPECT_EQ(aggregator.getInventoryDocument(), "");
    EXPECT_EQ(countLogged(host, "WARNING JSON_AGGR: The document has no section for resource 0"), 1);
    vokBindResources(before);
}

TEST_F(Document, HasASectionForEachResourceAndTheLastElementOfTheHost) {
    logEverything(host);
    EXPECT_EQ(aggregator.getInventoryDocument(),
              R"({"HostDataCollection":{"Drives":[{"Name":"d1"}],)"
              R"("EthernetDevices":[{"Name":"n1"},{"Name":"n2"},{"Name":"n3"}],)"
              R"("FibreChannelDevices":[{"Name":"f1"},{"Name":"f2"}],)"
              R"("Oem":{"Name":"last"},)"
              R"("StorageControllers":[{"Name":"c1"},{"Name":"c2"}],)"
              R"("StorageEnclosures":[{"Name":"e1"}],)"
              R"("Volumes":[{"Name":"v1"},{"Name":"v2"}]}})");
    EXPECT_THAT(fibre.reads, ElementsAre("all"));
    EXPECT_THAT(hostFacts.reads, ElementsAre("all"));
    EXPECT_THAT(storage.reads, ElementsAre("type 1", "type 2", "type 3", "type 4"));
    EXPECT_THAT(ethernet.reads, ElementsAre("all"));
    EXPECT_THAT(reserved.reads, IsEmpty());  // those cannot be enabled
}

TEST_F(Document, ASectionWithoutElementsHasNoKey) {
    logEverything(host);
    storage.elementsByType[4].clear();
    fibre.elements.clear();
    hostFacts.elements.clear();
    ethernet.elements.clear();
    EXPECT_EQ(aggregator.getInventoryDocument(), R"({"HostDataCollection":{"Drives":[{"Name":"d1"}],)"
                                                 R"("StorageControllers":[{"Name":"c1"},{"Name":"c2"}],)"
                                                 R"("Volumes":[{"Name":"v1"},{"Name":"v2"}]}})");
    storage.elementsByType.clear();
    EXPECT_EQ(aggregator.getInventoryDocument(), "");
}

TEST_F(Document, NothingOfThePreviousOneRemains) {
    logEverything(host);
    aggregator.getInventoryDocument();
    fibre.elements = {named("f3")};
    storage.elementsByType.clear();
    ethernet.elements.clear();
    EXPECT_EQ(aggregator.getInventoryDocument(),
              R"({"HostDataCollection":{"FibreChannelDevices":[{"Name":"f3"}],"Oem":{"Name":"last"}}})");
}

TEST_F(Document, ADisabledResourceAddsNothingAndIsNotRead) {
    logEverything(host, R"("EnableResources": ["StorageControllers"])");
    storage.elementsByType = {{2, {named("d1")}}};
    EXPECT_EQ(aggregator.getInventoryDocument(), R"({"HostDataCollection":{"Drives":[{"Name":"d1"}]}})");
    EXPECT_THAT(fibre.reads, IsEmpty());
    EXPECT_THAT(hostFacts.reads, IsEmpty());
    EXPECT_THAT(ethernet.reads, IsEmpty());
    runUntilThePushIsOver();
    EXPECT_THAT(storage.readinessPasses, ElementsAre(0));
    EXPECT_THAT(fibre.readinessPasses, IsEmpty());
    EXPECT_THAT(hostFacts.readinessPasses, IsEmpty());
    EXPECT_THAT(ethernet.readinessPasses, IsEmpty());
}

TEST_F(Document, TheLogShowsWhichManagerReturnedAPreviousInventory) {
    logEverything(host, R"("EnableResources": ["FibreChannelDevices", "EthernetDevices"])");
    ethernet.isPrevious = 1;
    aggregator.getInventoryDocument();
    EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: RM inventory type: [0]"), 1);
    EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: RM inventory type: [1]"), 1);
}

TEST_F(Document, TheFirstPushWaitsUntilAllAreReadyInOnePass) {
    logEverything(host);
    storage.readyFromPass = 3;
    fibre.readyFromPass = 1;
    runUntilThePushIsOver();
    EXPECT_EQ(pauses, 4);
    for (const StandInManager* each : {&fibre, &hostFacts, &storage, &ethernet})
        EXPECT_THAT(each->readinessPasses, ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(countLogged(host, "INFO JSON_AGGR: RM 0 not ready with inventory"), 1);
    EXPECT_EQ(countLogged(host, "INFO JSON_AGGR: RM 1 not ready with inventory"), 0);
    EXPECT_EQ(countLogged(host, "INFO JSON_AGGR: RM 2 not ready with inventory"), 3);
    EXPECT_THAT(reserved.readinessPasses, IsEmpty());
    EXPECT_EQ(ipmi.remoteCommandPayloads().size(), 1U);
    for (int iteration = 1; iteration <= 4; ++iteration)
        EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: Aggregator thread sleeping for 10 sec iteration no. " +
                                        std::to_string(iteration)),
                  1);
    EXPECT_EQ(countLogged(host, "DEBUG JSON_AGGR: Thread signaled"), 4);
}

TEST_F(Document, AfterNinePassesTheFirstPushGoesOutWithWhatIsReady) {
    logEverything(host);
    storage.readyFromPass = 1000;
    storage.elementsByType.clear();
    runUntilThePushIsOver();
    EXPECT_EQ(pauses, 9);
    EXPECT_THAT(storage.readinessPasses, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
    ASSERT_EQ(ipmi.remoteCommandPayloads().size(), 1U);
    EXPECT_THAT(ipmi.remoteCommandPayloads()[0], testing::HasSubstr(R"("Oem":{"Name":"last"})"));
}

// A manager with two inventories. Both contain the number of the build, and each read is followed by a build.
class BuildsBetweenReads final : public SampleManager {
public:
    BuildsBetweenReads() : SampleManager(traits) { cacheBuild(); }

    void createJsonStringUsingJsonCpp() override {
        setInventories({{Json::Value(builds)}, {Json::Value(builds)}});
    }
    int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override {
        return thenBuild(SampleManager::getInventoryJsonObject2(type, out));
    }
    std::unique_ptr<vokInventoryReader> openReader() override {
        return std::make_unique<BuildingReader>(*this, SampleManager::openReader());
    }

private:
    static constexpr vokManagerTraits traits = [] {
        vokManagerTraits two = sampleTraits;
        two.inventories = 2;
        return two;
    }();

    class BuildingReader final : public vokInventoryReader {
    public:
        BuildingReader(BuildsBetweenReads& manager, std::unique_ptr<vokInventoryReader> reader)
            : manager_(manager), reader_(std::move(reader)) {}
        bool getInventoryJsonObject(std::vector<Json::Value>& out) override {
            return manager_.thenBuild(reader_->getInventoryJsonObject(out));
        }
        int getInventoryJsonObject2(int type, std::vector<Json::Value>& out) override {
            return manager_.thenBuild(reader_->getInventoryJsonObject2(type, out));
        }

    private:
        BuildsBetweenReads& manager_;
        std::unique_ptr<vokInventoryReader> reader_;
    };

    template <typename Answer>
    Answer thenBuild(Answer answer) {
        cacheBuild();
        return answer;
    }
};

TEST_F(Document, TheSectionsOfAManagerAreOfOneBuildAlthoughOthersEndBetweenTheReads) {
    logEverything(host, R"("EnableResources": ["StorageControllers"])");
    BuildsBetweenReads manager;
    standInFor(2, &manager);
    EXPECT_EQ(aggregator.getInventoryDocument(),
              R"({"HostDataCollection":{"Drives":[1],"StorageControllers":[1]}})");
    const int before = manager.builds;
    EXPECT_EQ(aggregator.getInventoryDocument(), R"({"HostDataCollection":{"Drives":[)" +
                                                     std::to_string(before) + R"(],"StorageControllers":[)" +
                                                     std::to_string(before) + "]}}");
}

}  // namespace
}  // namespace DocumentTest
