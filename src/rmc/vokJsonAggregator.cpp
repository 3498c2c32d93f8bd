#include "rmc/vokJsonAggregator.h"

#include <malloc.h>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/base/vokConfig.h"
#include "core/base/vokJsonText.h"
#include "core/base/vokLog.h"
#include "core/base/vokModules.h"
#include "core/inventory/vokFactory.h"
#include "core/inventory/vokInventoryReader.h"
#include "core/inventory/vokPushRequest.h"
#include "core/inventory/vokResourceManager.h"
#include "core/inventory/vokResources.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"
#include "rmc/ipmi/vokipmi.h"
#include "rmc/vokPushAccount.h"

namespace {

constexpr int firstResource = FIBRE_CHANNEL_DEVICES;
constexpr int lastResource = TRUSTED_PLATFORM_MODULE;
constexpr int readinessPasses = 9;

// The manager of an enabled resource; null when the resource is disabled or has no manager in this build.
vokResourceManager* enabledManager(int id) {
    return vokConfig::getInstance()->isResourceEnabled(id) ? vokFactory().createInstance(id) : nullptr;
}

void* startInventoryPushThread(void*) {
    vokJsonAggregator::getInstance()->initializeCachePush();
    return nullptr;
}

[[maybe_unused]] const bool pushRequestIsBound =
    (vokBindPushRequest([] { vokJsonAggregator::getInstance()->sendInventory(true); }), true);

}  // namespace

std::atomic<bool> vokJsonAggregator::firstInventoryPushComplete{false};
bool vokJsonAggregator::pushInventory = true;
bool vokJsonAggregator::stopAggr = false;
pthread_t vokJsonAggregator::thread;
bool vokJsonAggregator::threadCreated = false;
std::mutex vokJsonAggregator::cmutex;
std::condition_variable vokJsonAggregator::cond;
vokDeadline vokJsonAggregator::deadline;

vokJsonAggregator* vokJsonAggregator::getInstance() {
    static auto* const instance = new vokJsonAggregator;
    return instance;
}

vokJsonAggregator::vokJsonAggregator() {
    for (const vokResource& resource : vokResources())
        if (resource.key) vok_RM_to_string.emplace(resource.id, resource.key);
}

bool vokJsonAggregator::isInventorySent() {
    return firstInventoryPushComplete;
}

void vokJsonAggregator::sendInventory(bool fromResourceManager) {
    if (fromResourceManager) {
        const std::lock_guard<std::mutex> lock(cmutex);
        pushInventory = true;
        if (firstInventoryPushComplete) {
            VOK_LOG_DEBUG("JSON_AGGR", "Request to send inventory");
            cond.notify_one();
        } else {
            // Not lost, despite the message: the first push serves it.
            VOK_LOG_DEBUG("JSON_AGGR", "Dropping inventory send request");
        }
        return;
    }
    VOK_LOG_DEBUG("JSON_AGGR", "Creating Json Aggregator thread");
    const int result = vokHostAccess().startThread(&thread, startInventoryPushThread, nullptr);
    threadCreated = result == 0;
    if (result != 0) VOK_LOG_ERROR("JSON_AGGR", "Error: Unable to create thread: %d", result);
}

void vokJsonAggregator::stopvokJsonAggregator() {
    VOK_LOG_DEBUG("JSON_AGGR", "Stopping vokJsonAggr");
    {
        const std::lock_guard<std::mutex> lock(cmutex);
        stopAggr = true;
        cond.notify_one();
    }
    VOK_LOG_DEBUG("JSON_AGGR", "Signaled for stop.");
    if (!threadCreated) return;
    threadCreated = false;
    const int result = vokHostAccess().joinThread(thread);
    if (result != 0) VOK_LOG_ERROR("JSON_AGGR", "Error: Unable to join thread: %d", result);
}

bool vokJsonAggregator::recheckWait() {
    const std::lock_guard<std::mutex> lock(cmutex);
    return vokEndOvertakenWait(cond, deadline);
}

void vokJsonAggregator::initializeCachePush() {
    const long long interval = vokConfig::getInstance()->getInventoryPushIntervalSettings() * 60LL;
    std::unique_lock<std::mutex> lock(cmutex);
    if (!checkIfInventoryReady(lock)) return;
    while (!stopAggr) {
        if (!pushInventory && (!aggrThreadSleep(lock, interval) || stopAggr)) return;
        pushInventory = false;
        lock.unlock();
        createInventoryJsonString();
        lock.lock();
    }
}

bool vokJsonAggregator::checkIfInventoryReady(std::unique_lock<std::mutex>& lock) {
    VOK_LOG_DEBUG("JSON_AGGR", "Entry checkIfInventoryReady");
    const long pause = vokConfig::getInstance()->getInventoryQueryInterval();
    for (int pass = 0; pass < readinessPasses; ++pass) {
        VOK_LOG_DEBUG("JSON_AGGR", "Aggregator thread sleeping for %ld sec iteration no. %d", pause,
                      pass + 1);
        // A stop before the pause has already been signalled, and would not end the pause.
        if (stopAggr || !aggrThreadSleep(lock, pause) || stopAggr) return false;
        bool allReady = true;
        for (int id = firstResource; id <= lastResource; ++id) {
            vokResourceManager* const manager = enabledManager(id);
            if (!manager || manager->isInventoryReady(pass)) continue;
            VOK_LOG_INFO("JSON_AGGR", "RM %d not ready with inventory", id);
            allReady = false;
        }
        if (allReady) return true;
    }
    return true;
}

bool vokJsonAggregator::aggrThreadSleep(std::unique_lock<std::mutex>& lock, long long seconds) {
    if (!deadline.set(seconds)) {
        const int reason = errno;  // logging may change it
        VOK_LOG_ERROR("JSON_AGGR", "Failed to get current time! (errno: %d)", reason);
        return false;
    }
    vokNoteNextPush(deadline.end().tv_sec);
    vokWaitUntil(cond, lock, deadline);
    VOK_LOG_DEBUG("JSON_AGGR", "Thread signaled");
    return true;
}

void vokJsonAggregator::createInventoryJsonString() {
    const std::string text = getInventoryDocument();
    if (text.empty())
        VOK_LOG_WARNING("JSON_AGGR", "No inventory information found!");
    else
        sendJsonString(text);
    firstInventoryPushComplete = true;
    // Until the next push, which may be a day away, the memory that this one took is of no use.
    ::malloc_trim(0);
}

std::string vokJsonAggregator::getInventoryDocument() {
    Json::Value sections = gatherSections();
    if (sections.empty()) return "";
    Json::Value document(Json::objectValue);
    document["HostDataCollection"].swap(sections);
    return vokJsonText(document);
}

Json::Value vokJsonAggregator::gatherSections() {
    Json::Value sections(Json::objectValue);
    for (int id = firstResource; id <= lastResource; ++id)
        if (vokResourceManager* const manager = enabledManager(id))
            gatherResource(*vokResources().find(id), *manager, sections);
    return sections;
}

void vokJsonAggregator::gatherResource(const vokResource& resource, vokResourceManager& manager,
                                       Json::Value& sections) const {
    const auto add = [&sections](const std::string& key, vokSectionForm form, int isPrevious,
                                 std::vector<Json::Value> elements) {
        for (auto& element : elements) {
            if (form == vokSectionForm::array)
                sections[key].append(std::move(element));
            else
                sections[key] = std::move(element);
        }
        VOK_LOG_DEBUG("JSON_AGGR", "RM inventory type: [%d]", isPrevious);
    };
    // So that all sections come from one build, even if another one ends meanwhile.
    const std::unique_ptr<vokInventoryReader> reader = manager.openReader();
    if (!resource.types[0].key) {
        const auto key = vok_RM_to_string.find(resource.id);
        if (key == vok_RM_to_string.end()) {
            VOK_LOG_WARNING("JSON_AGGR", "The document has no section for resource %d", resource.id);
            return;
        }
        std::vector<Json::Value> elements;
        const int isPrevious = reader->getInventoryJsonObject(elements);
        add(key->second, resource.form, isPrevious, std::move(elements));
        return;
    }
    for (const vokTypedSection& section : resource.types) {
        if (!section.key) break;
        std::vector<Json::Value> elements;
        const int isPrevious = reader->getInventoryJsonObject2(section.type, elements);
        add(section.key, vokSectionForm::array, isPrevious, std::move(elements));
    }
}

void vokJsonAggregator::sendJsonString(const std::string& text) {
    VOK_LOG_INFO("JSON_AGGR", "*************printing final Json String*******");
    VOK_LOG_INFO("JSON_AGGR", "%s", text.c_str());
    const vokPushAccount account;
    ipmi::IPMIUtils controller;
    const int result = controller.RMC_CLI_Cmd_Execution("WriteInventory", text);
    account.end(text.size(), controller.lastCommand());
    // The lines after this one follow from the result, which counts a silent controller as success.
    VOK_LOG_INFO("JSON_AGGR", "Inventory of %zu bytes in %zu requests: %s", text.size(),
                 controller.lastCommand().requests(), controller.lastCommand().text().c_str());
    if (result == 1)
        VOK_LOG_ERROR("JSON_AGGR", "An Error occurred in delivering inventory string to RMC!");
    else
        VOK_LOG_DEBUG("JSON_AGGR", "Success in delivering inventory string to RMC!");
}
