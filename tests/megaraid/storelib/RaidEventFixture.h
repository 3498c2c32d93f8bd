// A host with two RAID controllers whose events arrive in the test.
#pragma once

#include <gtest/gtest.h>
#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "megaraid/storelib/vokSASLSIEvent.h"
#include "megaraid/storelib/vokStoreLibInterface.h"
#include "support/FakeHost.h"
#include "support/FakeLibraries.h"
#include "support/FakeStoreLib.h"
#include "support/LoggedLines.h"

class RaidEventFixture : public testing::Test {
protected:
    static constexpr FakeStoreLibCommand registration{0, 1};
    static constexpr FakeStoreLibCommand endOfRegistration{0, 2};
    static constexpr FakeStoreLibCommand sequenceInfo{7, 0};

    RaidEventFixture() {
        logEverything(host);
        received.clear();
        onEvent = nullptr;
        library.controllers.resize(2);
        library.controllers[0].id = 1;
        library.controllers[0].serial = "SV00000001";
        library.controllers[1].id = 7;
        library.controllers[1].serial = "SV00000007";
    }

    // The registered function.
    static void take(VOK_SAS_EVENT_DETAIL* detail) {
        received.push_back(*detail);
        if (onEvent) onEvent(*detail);
    }
    bool registerEvents() { return events().RegisterForAEN(&take); }
    void buildCaches() {
        ASSERT_TRUE(interface().vokStoreInit());
        interface().cacheBuild("All");
    }

    static vokSASLSIEvent& events() { return *vokSASLSIEvent::getInstance(); }
    static vokStoreLibInterface& interface() { return *vokStoreLibInterface::getInstance(); }

    // The callback, also without a registration.
    static std::uint32_t callBack(std::uint16_t status, std::uint32_t controllerId,
                                  const std::string& record) {
        _SL_EVENT_DETAIL_T event{};
        for (int i = 0; i < 2; ++i) event.bytes[i] = static_cast<std::uint8_t>(status >> 8 * i);
        for (int i = 0; i < 4; ++i) event.bytes[4 + i] = static_cast<std::uint8_t>(controllerId >> 8 * i);
        std::copy(record.begin(), record.end(), event.bytes.begin() + 12);
        return vokSASLSIEvent::AENCallBack(&event);
    }
    // An event that needs no arguments.
    static std::string controllerEvent(std::uint32_t code = 0x30, const std::string& text = "text") {
        return FakeStoreLib::eventRecord(code, 0x0020, 0, 0, "", text);
    }

    bool logged(const std::string& line) const { return hasLogged(host, line); }
    long timesLogged(const std::string& line) const { return countLogged(host, line); }
    // The libraries that are loaded.
    int loaded() const { return host.part<FakeLibraries>().openCount(); }

    inline static std::vector<VOK_SAS_EVENT_DETAIL> received;
    inline static std::function<void(const VOK_SAS_EVENT_DETAIL&)> onEvent;

    FakeHost host;
    FakeStoreLib library{host};
};
