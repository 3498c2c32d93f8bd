// The functions that take a handle: each calls its own handler, with the stored vendor handle and the
// caller's arguments.
#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "fc/hbaapi/HbaFixture.h"
#include "platform/access/vokLongOperation.h"
#include "support/FakeClock.h"

namespace hbaapicallsTest {
namespace {

using Arguments = std::vector<std::uint64_t>;

struct Call {
    int handler;  // its place in the table
    HBA_HANDLE handle;
    Arguments arguments;

    bool operator==(const Call& other) const {
        return handler == other.handler && handle == other.handle && arguments == other.arguments;
    }
};
std::vector<Call> calls;

template <typename Value>
std::uint64_t number(Value value) {
    if constexpr (std::is_pointer_v<Value>)
        return reinterpret_cast<std::uintptr_t>(value);
    else if constexpr (std::is_same_v<Value, HBA_WWN>)
        return value.wwn[7];
    else if constexpr (std::is_same_v<Value, HBA_MGMTINFO>)
        return value.TopologyDiscoveryFlags;
    else
        return value;
}

// A handler that returns 100 and its place.
template <int place, typename... Parameters>
HBA_STATUS record(HBA_HANDLE handle, Parameters... parameters) {
    calls.push_back({place, handle, {number(parameters)...}});
    return 100 + place;
}
template <int place, typename... Parameters>
void recordOnly(HBA_HANDLE handle, Parameters... parameters) {
    calls.push_back({place, handle, {number(parameters)...}});
}

template <typename Pointer>
Pointer* at(std::uintptr_t address) {
    return reinterpret_cast<Pointer*>(address);
}

HBA_WWN wwnEnding(HBA_UINT8 last) {
    return {{0, 0, 0, 0, 0, 0, 0, last}};
}

HBA_MGMTINFO managementInformation(HBA_UINT16 flags) {
    HBA_MGMTINFO information{};
    information.TopologyDiscoveryFlags = flags;
    return information;
}

// A function without a result is written as one that returns `none`.
constexpr HBA_STATUS none = 0xFFFFFFFF;

struct Row {
    const char* function;
    std::function<HBA_STATUS(HBA_HANDLE)> call;
    int handler;
    Arguments arguments;
    void (*removeHandler)(HBA_ENTRYPOINTS&);
};

#define REMOVES(member) [](HBA_ENTRYPOINTS& handlers) { handlers.member = nullptr; }

const Row rows[] = {
    {"HBA_CloseAdapter",
     [](HBA_HANDLE handle) { return HBA_CloseAdapter(handle), none; },
     6,
     {},
     REMOVES(CloseAdapterHandler)},
    {"HBA_GetAdapterAttributes",
     [](HBA_HANDLE handle) { return HBA_GetAdapterAttributes(handle, at<HBA_ADAPTERATTRIBUTES>(0x10)); },
     7,
     {0x10},
     REMOVES(GetAdapterAttributesHandler)},
    {"HBA_GetAdapterPortAttributes",
     [](HBA_HANDLE handle) { return HBA_GetAdapterPortAttributes(handle, 1, at<HBA_PORTATTRIBUTES>(0x20)); },
     8,
     {1, 0x20},
     REMOVES(GetAdapterPortAttributesHandler)},
    {"HBA_GetPortStatistics",
     [](HBA_HANDLE handle) { return HBA_GetPortStatistics(handle, 2, at<HBA_PORTSTATISTICS>(0x30)); },
     9,
     {2, 0x30},
     REMOVES(GetPortStatisticsHandler)},
    {"HBA_GetDiscoveredPortAttributes",
     [](HBA_HANDLE handle) {
         return HBA_GetDiscoveredPortAttributes(handle, 3, 4, at<HBA_PORTATTRIBUTES>(0x40));
     },
     10,
     {3, 4, 0x40},
     REMOVES(GetDiscoveredPortAttributesHandler)},
    {"HBA_GetPortAttributesByWWN",
     [](HBA_HANDLE handle) {
         return HBA_GetPortAttributesByWWN(handle, wwnEnding(5), at<HBA_PORTATTRIBUTES>(0x50));
     },
     11,
     {5, 0x50},
     REMOVES(GetPortAttributesByWWNHandler)},
    {"HBA_SendCTPassThru",
     [](HBA_HANDLE handle) { return HBA_SendCTPassThru(handle, at<char>(0x60), 61, at<char>(0x62), 63); },
     12,
     {0x60, 61, 0x62, 63},
     REMOVES(SendCTPassThruHandler)},
    {"HBA_RefreshInformation",
     [](HBA_HANDLE handle) { return HBA_RefreshInformation(handle), none; },
     13,
     {},
     REMOVES(RefreshInformationHandler)},
    {"HBA_ResetStatistics",
     [](HBA_HANDLE handle) { return HBA_ResetStatistics(handle, 7), none; },
     14,
     {7},
     REMOVES(ResetStatisticsHandler)},
    {"HBA_GetFcpTargetMapping",
     [](HBA_HANDLE handle) { return HBA_GetFcpTargetMapping(handle, at<HBA_FCPTARGETMAPPING>(0x80)); },
     15,
     {0x80},
     REMOVES(GetFcpTargetMappingHandler)},
    {"HBA_GetFcpPersistentBinding",
     [](HBA_HANDLE handle) { return HBA_GetFcpPersistentBinding(handle, at<HBA_FCPBINDING>(0x90)); },
     16,
     {0x90},
     REMOVES(GetFcpPersistentBindingHandler)},
    {"HBA_GetEventBuffer",
     [](HBA_HANDLE handle) {
         return HBA_GetEventBuffer(handle, at<HBA_EVENTINFO>(0xA0), at<HBA_UINT32>(0xA4));
     },
     17,
     {0xA0, 0xA4},
     REMOVES(GetEventBufferHandler)},
    {"HBA_SetRNIDMgmtInfo",
     [](HBA_HANDLE handle) { return HBA_SetRNIDMgmtInfo(handle, managementInformation(11)); },
     18,
     {11},
     REMOVES(SetRNIDMgmtInfoHandler)},
    {"HBA_GetRNIDMgmtInfo",
     [](HBA_HANDLE handle) { return HBA_GetRNIDMgmtInfo(handle, at<HBA_MGMTINFO>(0xB0)); },
     19,
     {0xB0},
     REMOVES(GetRNIDMgmtInfoHandler)},
    {"HBA_SendRNID",
     [](HBA_HANDLE handle) {
         return HBA_SendRNID(handle, wwnEnding(12), 13, at<char>(0xC0), at<HBA_UINT32>(0xC4));
     },
     20,
     {12, 13, 0xC0, 0xC4},
     REMOVES(SendRNIDHandler)},
    {"HBA_SendScsiInquiry",
     [](HBA_HANDLE handle) {
         return HBA_SendScsiInquiry(handle, wwnEnding(14), 0x0123456789ABCDEFull, 1, 0x80, at<char>(0xD0), 96,
                                    at<char>(0xD4), 18);
     },
     21,
     {14, 0x0123456789ABCDEFull, 1, 0x80, 0xD0, 96, 0xD4, 18},
     REMOVES(ScsiInquiryHandler)},
    {"HBA_SendReportLUNs",
     [](HBA_HANDLE handle) {
         return HBA_SendReportLUNs(handle, wwnEnding(15), at<char>(0xE0), 256, at<char>(0xE4), 18);
     },
     22,
     {15, 0xE0, 256, 0xE4, 18},
     REMOVES(ReportLUNsHandler)},
    {"HBA_SendReadCapacity",
     [](HBA_HANDLE handle) {
         return HBA_SendReadCapacity(handle, wwnEnding(16), 0x0123456789ABCDEFull, at<char>(0xF0), 8,
                                     at<char>(0xF4), 18);
     },
     23,
     {16, 0x0123456789ABCDEFull, 0xF0, 8, 0xF4, 18},
     REMOVES(ReadCapacityHandler)},
};

// `result`, unless the function has none.
HBA_STATUS resultOf(const Row& row, HBA_STATUS result) {
    return row.handler == 6 || row.handler == 13 || row.handler == 14 ? none : result;
}

class HbaCalls : public HbaTest {
protected:
    // The second library has one open adapter, of the vendor's handle 0xABCD1234.
    HbaCalls() {
        calls.clear();
        second.names = {"second-0"};
        second.handles = {{"second-0", 0xABCD1234}};
        HBA_ENTRYPOINTS& handlers = second.handlers;
        handlers.CloseAdapterHandler = recordOnly<6>;
        handlers.GetAdapterAttributesHandler = record<7>;
        handlers.GetAdapterPortAttributesHandler = record<8>;
        handlers.GetPortStatisticsHandler = record<9>;
        handlers.GetDiscoveredPortAttributesHandler = record<10>;
        handlers.GetPortAttributesByWWNHandler = record<11>;
        handlers.SendCTPassThruHandler = record<12>;
        handlers.RefreshInformationHandler = recordOnly<13>;
        handlers.ResetStatisticsHandler = recordOnly<14>;
        handlers.GetFcpTargetMappingHandler = record<15>;
        handlers.GetFcpPersistentBindingHandler = record<16>;
        handlers.GetEventBufferHandler = record<17>;
        handlers.SetRNIDMgmtInfoHandler = record<18>;
        handlers.GetRNIDMgmtInfoHandler = record<19>;
        handlers.SendRNIDHandler = record<20>;
        handlers.ScsiInquiryHandler = record<21>;
        handlers.ReportLUNsHandler = record<22>;
        handlers.ReadCapacityHandler = record<23>;
    }
    void openSecond() {
        listBoth();
        ASSERT_EQ(open("second-0"), 0x00011234u);
    }
};

TEST_F(HbaCalls, EachCallsItsOwnHandlerWithTheStoredHandleAndReturnsItsResult) {
    openSecond();
    EXPECT_EQ(std::size(rows), 18u);
    for (const Row& row : rows) {
        calls.clear();
        const auto result = static_cast<HBA_STATUS>(100 + row.handler);
        EXPECT_EQ(row.call(0x00011234), resultOf(row, result)) << row.function;
        EXPECT_EQ(calls, (std::vector<Call>{{row.handler, 0xABCD1234, row.arguments}})) << row.function;
    }
}

TEST_F(HbaCalls, TheLowHalfOfTheHandleDoesNotMatter) {
    openSecond();
    for (const Row& row : rows) {
        calls.clear();
        row.call(0x0001FFFF);
        ASSERT_EQ(calls.size(), 1u) << row.function;
        EXPECT_EQ(calls[0].handle, 0xABCD1234u) << row.function;
    }
}

TEST_F(HbaCalls, ABadHandleReturnsThreeAndCallsNothing) {
    openSecond();
    for (const Row& row : rows) {
        EXPECT_EQ(row.call(0x00201234), resultOf(row, 3)) << row.function;
    }
    EXPECT_TRUE(calls.empty());
}

TEST_F(HbaCalls, AHandleOfALibraryThatIsNotLoadedReturnsOneAndCallsNothing) {
    openSecond();
    HBA_FreeLibrary();
    for (const Row& row : rows) {
        EXPECT_EQ(row.call(0x00011234), resultOf(row, 1)) << row.function;
    }
    EXPECT_TRUE(calls.empty());
}

TEST_F(HbaCalls, WithoutItsHandlerAFunctionIsNotSupported) {
    for (const Row& row : rows) row.removeHandler(second.handlers);
    openSecond();
    for (const Row& row : rows) {
        EXPECT_EQ(row.call(0x00011234), resultOf(row, 2)) << row.function;
    }
    EXPECT_TRUE(calls.empty());
}

TEST_F(HbaCalls, OneMissingHandlerAffectsNoOtherFunction) {
    for (const Row& missing : rows) {
        const HBA_ENTRYPOINTS all = second.handlers;
        missing.removeHandler(second.handlers);
        openSecond();
        for (const Row& row : rows) {
            calls.clear();
            row.call(0x00011234);
            EXPECT_EQ(calls.size(), &row == &missing ? 0u : 1u) << row.function;
        }
        second.handlers = all;
    }
}

// --- calls that take long ---

FakeClock* hungClock = nullptr;
std::atomic<int> reports{0};
std::string reported;

// A call that returns after it was reported.
HBA_STATUS hang() {
    hungClock->waitForSteadyWaits(1);
    hungClock->advanceSteady(31);
    while (reports == 0) std::this_thread::yield();
    return HBA_STATUS_OK;
}

class HbaHungCall : public HbaTest {
protected:
    HbaHungCall() {
        hungClock = &host.part<FakeClock>();
        reports = 0;
        vokBindLongOperationReport([](const char* description, long, bool hasEnded) {
            if (!hasEnded) reported = description;
            ++reports;
        });
        first.names = {"first-0"};
        first.handles = {{"first-0", 5}};
    }
};

TEST_F(HbaHungCall, OfALoadHandlerIsReported) {
    const vokLongOperationWatch watch;
    first.handlers.LoadLibraryHandler = hang;
    loadBoth();
    EXPECT_EQ(reported, "library call HBA_LoadLibrary of first");
}

TEST_F(HbaHungCall, ByAHandleIsReported) {
    const vokLongOperationWatch watch;
    first.handlers.GetAdapterAttributesHandler = [](HBA_HANDLE, HBA_ADAPTERATTRIBUTES*) { return hang(); };
    listBoth();
    EXPECT_EQ(HBA_GetAdapterAttributes(open("first-0"), nullptr), 0u);
    EXPECT_EQ(reported, "library call HBA_GetAdapterAttributes of first");
}

#undef REMOVES

}  // namespace
}  // namespace hbaapicallsTest
