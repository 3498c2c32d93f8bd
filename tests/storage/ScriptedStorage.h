// A storage controller and a factory that do what a test says and list the calls that they get, for the tests
// of the code above them.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "storage/IvokStorageControllerFactory.h"
#include "storage/SASResourceManager.h"
#include "storage/TestController.h"
#include "storage/vokStorageControllerClass.h"

// The calls in their order, from any thread.
class CallList {
public:
    void add(const std::string& call) {
        const std::lock_guard<std::mutex> lock(guard_);
        calls_.push_back(call);
    }
    // Those since the last take().
    std::vector<std::string> take() {
        const std::lock_guard<std::mutex> lock(guard_);
        return std::exchange(calls_, {});
    }

private:
    std::mutex guard_;
    std::vector<std::string> calls_;
};

class ScriptedController : public TestController {
public:
    using TestController::TestController;

    CallList* calls = nullptr;
    std::function<void(const std::string& call)> onCall;  // in each operation, after it is listed
    vokStorageControllerInfo info;
    std::vector<vokDiskInfo> drives;
    std::vector<vokLogicalDiskInfo> volumes;
    std::vector<vokStorageEnclosureInfo> enclosures;
    bool eventsEnabled = true;
    int removals = 0;
    IvokStorageController* successorOf = nullptr;
    std::size_t portsAtAddition = 0;

    int discoverInventory(vokStorageControllerInfo& out) override {
        called("discoverInventory");
        out = info;
        return 1;
    }
    int discoverPhysicalDiskInventory(std::vector<vokDiskInfo>& out) override {
        called("discoverPhysicalDiskInventory");
        out = drives;
        return 1;
    }
    int discoverLogicalDiskInventory(std::vector<vokLogicalDiskInfo>& out) override {
        called("discoverLogicalDiskInventory");
        out = volumes;
        return 1;
    }
    int discoverStorageEnclosureInventory(std::vector<vokStorageEnclosureInfo>& out) override {
        called("discoverStorageEnclosureInventory");
        out = enclosures;
        return 1;
    }
    int enableEvents() override {
        called("enableEvents");
        return 1;
    }
    int disableEvents() override {
        called("disableEvents");
        return 1;
    }
    bool isEventsEnabled() override {
        called("isEventsEnabled");
        return eventsEnabled;
    }
    void poll() override { called("poll"); }
    void processDeviceRemoval() override {
        called("processDeviceRemoval");
        ++removals;
        setRemoved();
        dropReference();
    }
    void processDeviceAddition(IvokStorageController* old) override {
        called("processDeviceAddition");
        successorOf = old;
        portsAtAddition = getPortListSize();
    }

private:
    void called(const std::string& operation) {
        if (calls) calls->add(operation);
        if (onCall) onCall(operation);
    }
};

// Hands out `controllers`. It owns one reference to each until its shutdown.
class ScriptedFactory : public IvokStorageControllerFactory {
public:
    ~ScriptedFactory() { shutdownFactory(); }

    CallList* calls = nullptr;
    std::function<void(const std::string& call)> onCall;
    std::vector<ScriptedController*> controllers;
    std::vector<std::tuple<unsigned int, unsigned int>> models;

    ScriptedController& add(const std::string& location = "0000:3b:00.0") {
        controllers.push_back(new ScriptedController(0x28268086, 0x00018086, location, 1, true));
        controllers.back()->calls = calls;
        return *controllers.back();
    }

    void discoverControllers(std::vector<IvokStorageController*>& out) override {
        called("discoverControllers");
        copyTo(out);
    }
    void getControllers(unsigned char familyMask, std::vector<IvokStorageController*>& out) override {
        called("getControllers " + std::to_string(familyMask));
        copyTo(out);
    }
    void shutdownFactory() override {
        called("shutdownFactory");
        for (ScriptedController* const each : controllers) each->dropReference();
        controllers.clear();
    }
    void poll() override { called("factory poll"); }
    void deleteControllers(unsigned char) override {}
    std::vector<std::tuple<unsigned int, unsigned int>>& getSupportedControllerModels() override {
        return models;
    }

private:
    void called(const std::string& operation) {
        if (calls) calls->add(operation);
        if (onCall) onCall(operation);
    }
    void copyTo(std::vector<IvokStorageController*>& out) const {
        out.assign(controllers.begin(), controllers.end());
        for (IvokStorageController* const each : out) each->addReference();
    }
};
