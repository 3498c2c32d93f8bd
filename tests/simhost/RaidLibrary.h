// The stand-in of the RAID controllers' library as an agent loads it from a running host, with blocks laid
// out by hand.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "megaraid/storelib/vokStoreLibRecords.h"
#include "simhost/SimulatedMachine.h"

namespace simulatedraid {

using Bytes = std::vector<std::uint8_t>;

inline std::uint64_t number(const Bytes& bytes, std::size_t at, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value |= std::uint64_t{bytes.at(at + i)} << (8 * i);
    return value;
}

inline std::string text(const Bytes& bytes, std::size_t at, std::size_t length) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(at),
            bytes.begin() + static_cast<std::ptrdiff_t>(at + length)};
}

// The events that came, each a record of 268 bytes.
class Received {
public:
    // The one whose callback is registered.
    static Received*& current() {
        static Received* instance = nullptr;
        return instance;
    }
    static std::uint32_t callback(void* detail) {
        current()->add(static_cast<const std::uint8_t*>(detail));
        return 0;
    }
    Received() { current() = this; }

    bool waitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return events_.size() >= count; });
    }
    std::vector<Bytes> events() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }
    // The codes, in order.
    std::vector<unsigned> codes() {
        std::vector<unsigned> found;
        for (const Bytes& each : events()) found.push_back(static_cast<unsigned>(number(each, 12 + 8, 4)));
        return found;
    }

private:
    void add(const std::uint8_t* detail) {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.emplace_back(detail, detail + 268);
        changed_.notify_all();
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Bytes> events_;
};

class RaidLibrary {
public:
    explicit RaidLibrary(const std::string& root)
        : library_(::dlopen((root + "/lib/libstorelib.so").c_str(), RTLD_LAZY | RTLD_LOCAL)) {
        if (!library_) throw std::runtime_error(::dlerror());
        process_ = reinterpret_cast<std::uint32_t (*)(void*)>(::dlsym(library_, "ProcessLibCommand"));
    }
    ~RaidLibrary() {
        if (process_) {
            _SL_LIB_CMD_PARAM_T exit = block(0, 9);
            call(exit);
        }
        ::dlclose(library_);
    }
    RaidLibrary(const RaidLibrary&) = delete;
    RaidLibrary& operator=(const RaidLibrary&) = delete;

    bool hasEntryPoint() const { return process_ != nullptr; }
    std::uint32_t call(_SL_LIB_CMD_PARAM_T& block) const { return process_(&block); }
    std::uint32_t callWithoutBlock() const { return process_(nullptr); }

    static _SL_LIB_CMD_PARAM_T block(std::uint8_t type, std::uint8_t command, std::uint32_t controller = 0) {
        _SL_LIB_CMD_PARAM_T made;
        std::memset(&made, 0, sizeof(made));
        made.commandType = type;
        made.command = command;
        made.controllerId = controller;
        return made;
    }
    // A command with a data block of this size, filled with 0xEE before.
    std::uint32_t fill(_SL_LIB_CMD_PARAM_T made, std::size_t size, Bytes& data) const {
        data.assign(size, 0xEE);
        made.dataSize = static_cast<std::uint32_t>(size);
        made.data = data.data();
        return call(made);
    }
    std::uint32_t initialize(Bytes* list = nullptr) const {
        _SL_LIB_CMD_PARAM_T made = block(0, 0);
        made.flag = 1;
        Bytes own;
        return fill(made, 260, list ? *list : own);
    }
    Bytes record(std::uint8_t type, std::uint8_t command, std::uint32_t controller, std::size_t size,
                 std::uint16_t device = 0, std::uint8_t target = 0) const {
        _SL_LIB_CMD_PARAM_T made = block(type, command, controller);
        made.deviceId = device;
        made.targetId = target;
        Bytes data;
        EXPECT_EQ(fill(made, size, data), 0u) << unsigned{type} << "," << unsigned{command};
        return data;
    }

    // A SCSI command as the agent passes it; `data` has the room, and then what came.
    std::uint32_t scsi(std::uint32_t controller, std::uint16_t device, const Bytes& command, Bytes& data,
                       unsigned& scsiStatus) const {
        Bytes all(64 + data.size(), 0);
        all[0] = static_cast<std::uint8_t>(device & 0xFF);
        all[1] = static_cast<std::uint8_t>(device >> 8);
        all[2] = 1;
        all[4] = 2;
        all[8] = 60;
        all[11] = static_cast<std::uint8_t>(command.size());
        std::copy(command.begin(), command.end(), all.begin() + 12);
        for (std::size_t i = 0; i < 4; ++i) all[60 + i] = static_cast<std::uint8_t>(data.size() >> (8 * i));
        _SL_LIB_CMD_PARAM_T made = block(6, 0, controller);
        made.dataSize = static_cast<std::uint32_t>(all.size());
        made.data = all.data();
        const std::uint32_t status = call(made);
        scsiStatus = all[10];
        const auto length = static_cast<std::ptrdiff_t>(number(all, 60, 4));
        data.assign(all.begin() + 64, all.begin() + 64 + length);
        return status;
    }
    // A controller command with a frame of natural layout.
    std::uint32_t dcmd(std::uint32_t controller, std::uint32_t opcode, Bytes& data) const {
        constexpr std::size_t pointerAt = sizeof(void*) == 4 ? 28 : 32;
        alignas(8) std::uint8_t frame[pointerAt + sizeof(void*)] = {};
        const auto length = static_cast<std::uint32_t>(data.size());
        const std::uint32_t flags = 2;
        void* const place = data.data();
        std::memcpy(frame, &length, 4);
        std::memcpy(frame + 4, &opcode, 4);
        std::memcpy(frame + 12, &flags, 4);
        std::memcpy(frame + pointerAt, &place, sizeof(place));
        _SL_LIB_CMD_PARAM_T made = block(6, 3, controller);
        made.dataSize = sizeof(frame);
        made.data = frame;
        return call(made);
    }

    struct Interest {
        std::uint32_t controller;
        std::uint16_t locale;
        std::int8_t eventClass;
        std::uint32_t sequence;
    };
    std::uint32_t registerFor(const std::vector<Interest>& interests, std::uint32_t& uniqueId,
                              std::uint32_t (*callback)(void*) = Received::callback) const {
        constexpr std::size_t callbackAt = sizeof(void*) == 4 ? 772 : 776;
        alignas(8) std::uint8_t input[callbackAt + sizeof(void*)] = {};
        const auto count = static_cast<std::uint32_t>(interests.size());
        std::memcpy(input, &count, 4);
        for (std::size_t i = 0; i < interests.size(); ++i) {
            std::uint8_t* const entry = input + 4 + 12 * i;
            std::memcpy(entry, &interests[i].controller, 4);
            std::memcpy(entry + 4, &interests[i].locale, 2);
            std::memcpy(entry + 7, &interests[i].eventClass, 1);
            std::memcpy(entry + 8, &interests[i].sequence, 4);
        }
        std::memcpy(input + callbackAt, &callback, sizeof(callback));
        _SL_LIB_CMD_PARAM_T made = block(0, 1);
        made.input = input;
        Bytes output;
        const std::uint32_t status = fill(made, 264, output);
        uniqueId = static_cast<std::uint32_t>(number(output, 260, 4));
        return status;
    }
    std::uint32_t unregister(std::uint32_t uniqueId) const {
        _SL_LIB_CMD_PARAM_T made = block(0, 2);
        made.uniqueId = uniqueId;
        return call(made);
    }

private:
    void* library_;
    std::uint32_t (*process_)(void*) = nullptr;
};

// A host with a 9361 (four SAS and SATA disks, a RAID 5 and a RAID 10) and an empty 9560.
class RaidHost : public SimulatedMachine {
protected:
    static constexpr char described[] = R"({
      "pci":[{"Address":"0000:5e:00.0","Vendor ID":"0x1000","Device ID":"0x005d","SubVendor ID":"0x1000",
              "SubDevice ID":"0x9361"},
             {"Address":"0000:d8:00.0","Vendor ID":"0x9005","Device ID":"0x028f"}],
      "raidControllers":[
        {"address":"0000:5e:00.0","serial":"SV01234567","firmware":"24.21.0-0148","newestSequence":500,
         "disks":[
           {"enclosure":252,"slot":0,"deviceId":8,"serial":"SAS0001","vendor":"MEV","model":"SAS MODEL",
            "revision":"A1B2","blocks":1000000,"blockSize":4096},
           {"enclosure":252,"slot":1,"deviceId":9,"serial":"SAS0002","inquirySerial":"","state":"hot-spare"},
           {"enclosure":252,"slot":2,"deviceId":10,"serial":"SATA001","interface":"SATA","media":"SSD"},
           {"enclosure":252,"slot":3,"deviceId":11,"serial":"SATA002","interface":"SATA","logD0":""},
           {"enclosure":300,"slot":4,"deviceId":300,"serial":"NVME001","interface":"NVMe","state":"jbod"},
           {"enclosure":300,"slot":5,"deviceId":301,"type":13}],
         "volumes":[
           {"target":0,"level":"RAID5","members":["252:0","SATA001","252:3"],
            "id":"000102030405060708090a0b0c0d0e0f","blocks":2000000},
           {"target":7,"level":"RAID10","sequence":3,"members":["252:0","252:2","252:3","300:4"],"state":1,
            "qualifier":2}]},
        {"id":5,"address":"0001:a1:02.3","vendor":"0x1000","device":"0x10e2","subsystemVendor":"0x1000",
         "subsystemDevice":"0x4010"}]})";

    void SetUp() override {
        std::thread([] {}).join();  // with the first thread, ThreadSanitizer starts one of its own
        directory.writeFile("raid.json", described);
        startHost({"--start-time", "1000000000"}, directory.path() + "/raid.json");
        library = std::make_unique<RaidLibrary>(root());
    }
    std::string raid(std::vector<std::string> words) {
        words.insert(words.begin(), "raid");
        return hostControl(words);
    }
    Ran tryRaid(std::vector<std::string> words) {
        std::vector<std::string> all{VOK_SIMHOST_PROGRAM, "control", "--root", root(), "raid"};
        all.insert(all.end(), words.begin(), words.end());
        return runProgram(all);
    }
    std::string violations() const {
        return directory.readFile("it's a \"host\"/run/simhost/raid-violations.log");
    }
    // Registered for all events of controller 0 after `sequence`.
    std::uint32_t registerForAll(std::uint32_t sequence = 500) {
        std::uint32_t uniqueId = 0;
        EXPECT_EQ(library->registerFor({{0, 0xFFFF, 0, sequence}}, uniqueId), 0u);
        return uniqueId;
    }
    std::uint32_t statusOf(std::uint8_t type, std::uint8_t command, std::uint32_t controller,
                           std::size_t size, std::uint16_t device = 0, std::uint8_t target = 0) {
        _SL_LIB_CMD_PARAM_T made = RaidLibrary::block(type, command, controller);
        made.deviceId = device;
        made.targetId = target;
        Bytes data;
        return library->fill(made, size, data);
    }

    Received received;
    std::unique_ptr<RaidLibrary> library;
};

}  // namespace simulatedraid
