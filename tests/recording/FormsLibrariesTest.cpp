// Thunks of the vendors' libraries: what a call is recorded as, and that it plays back.
#include <gtest/gtest.h>
#include <cstring>
#include <map>
#include <vector>

#include "fc/hbaapi/hbaapi.h"
#include "megaraid/storelib/vokSASLSIEventBlocks.h"
#include "megaraid/storelib/vokStoreLibRecords.h"
#include "platform/places/vokPhysLocPlatform.h"
#include "recording/FormsLibraries.h"

namespace FormsLibrariesTest {
namespace {

using recording::Fields;
using recording::LibraryCall;
using recording::LibraryCallee;
using recording::LibraryThunks;

// Makes each call and keeps it.
class Recorder : public LibraryCallee {
public:
    ~Recorder() override { LibraryThunks::forget(*this); }
    void called(LibraryCall& call) override {
        Fields answer = call.make();
        calls.emplace_back(call.question(), std::move(answer));
    }
    std::vector<std::pair<Fields, Fields>> calls;
};

// Plays one answer.
class Player : public LibraryCallee {
public:
    explicit Player(Fields played) : answer(std::move(played)) {}
    ~Player() override { LibraryThunks::forget(*this); }
    void called(LibraryCall& call) override {
        question = call.question();
        call.play(answer);
    }
    Fields question;
    Fields answer;
};

template <typename Function>
Function thunk(const LibraryThunks& thunks, const char* symbol) {
    return reinterpret_cast<Function>(thunks.find(symbol));
}

template <typename Function>
Function recorded(Recorder& recorder, const char* symbol, Function original, const char* library = "lib.so") {
    const auto thunks = LibraryThunks::of(library, recorder);
    thunks->setOriginal(symbol, reinterpret_cast<void*>(original));
    return thunk<Function>(*thunks, symbol);
}

template <typename Function>
Function played(Player& player, const char* symbol) {
    return thunk<Function>(*LibraryThunks::of("lib.so", player), symbol);
}

// --- the location library ---

physloc_rtn_t encode(vokPhysLocRecord* record, std::uint64_t* code) {
    *code = 0xFFFFFFFF00000000u + record->rack;
    return 5;
}

TEST(FormsLibraries, ALocationIsItsRecordAndItsCode) {
    Recorder recorder;
    vokPhysLocRecord record{};
    record.type = 3;
    record.rack = 9;
    std::uint64_t code = 0;
    EXPECT_EQ(recorded<vokPhysLocEncode>(recorder, vokPhysLocEncodeSymbol, encode)(&record, &code), 5);
    EXPECT_EQ(code, 0xFFFFFFFF00000009u);
    ASSERT_EQ(recorder.calls.size(), 1u);
    const auto& [question, answer] = recorder.calls[0];
    EXPECT_EQ(question, (Fields{{"library", "lib.so"},
                                {"entry", "physloc_encode"},
                                {"record", std::string("\3\0\0\0\x09\0\0\0\0\0\0\0\0\0\0\0", 16)}}));
    EXPECT_EQ(answer, (Fields{{"result", "5"}, {"code", "18446744069414584329"}}));

    Player player(answer);
    code = 0;
    EXPECT_EQ(played<vokPhysLocEncode>(player, vokPhysLocEncodeSymbol)(&record, &code), 5);
    EXPECT_EQ(code, 0xFFFFFFFF00000009u);
    EXPECT_EQ(player.question, question);
}

int init(vokPhysLocRecord* record, int /*version*/) {
    record->rack = 1;
    return 0;
}

TEST(FormsLibraries, AnInitialisedRecordComesBackWithItsZeros) {
    Recorder recorder;
    vokPhysLocRecord record{};
    recorded<vokPhysLocInit>(recorder, vokPhysLocInitSymbol, init)(&record, 2);
    EXPECT_EQ(recorder.calls[0].first.at("version"), "2");
    Player player(recorder.calls[0].second);
    std::memset(&record, 0xFF, sizeof(record));
    EXPECT_EQ(played<vokPhysLocInit>(player, vokPhysLocInitSymbol)(&record, 2), 0);
    EXPECT_EQ(record.rack, 1);
    EXPECT_EQ(record.library14[1], 0);
}

// --- the RAID library ---

using Process = std::uint32_t (*)(_SL_LIB_CMD_PARAM_T*);

std::uint32_t process(_SL_LIB_CMD_PARAM_T* block) {
    if (block->commandType == 6 && block->command == 3) {
        auto* const frame = static_cast<_MR_DCMD_FRAME*>(block->data);
        std::memcpy(frame->data, "SAFE", 4);
    } else if (block->data) {
        std::memcpy(block->data, "data", 4);
    }
    return 0x8002;
}

TEST(FormsLibraries, ARaidCommandHasNumbersAndItsDataBlock) {
    Recorder recorder;
    unsigned char data[8] = {1, 1, 1, 1, 0, 0, 0, 0};
    _SL_LIB_CMD_PARAM_T block{};
    block.commandType = 2;
    block.controllerId = 7;
    block.deviceId = 513;
    block.targetId = 4;
    block.dataSize = sizeof(data);
    block.data = data;
    EXPECT_EQ(recorded<Process>(recorder, recording::raidEntryPoint, process)(&block), 0x8002u);
    EXPECT_EQ(recorder.calls[0].first, (Fields{{"library", "lib.so"},
                                               {"entry", "ProcessLibCommand"},
                                               {"type", "2"},
                                               {"number", "0"},
                                               {"flag", "0"},
                                               {"controller", "7"},
                                               {"device", "513"},
                                               {"target", "4"},
                                               {"size", "8"}}));
    EXPECT_EQ(recorder.calls[0].second, (Fields{{"result", "32770"}, {"data", "data"}}));

    Player player(recorder.calls[0].second);
    std::memset(data, 0xFF, sizeof(data));
    EXPECT_EQ(played<Process>(player, recording::raidEntryPoint)(&block), 0x8002u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(data), 8), std::string("data\0\0\0\0", 8));
    EXPECT_EQ(player.question, recorder.calls[0].first);
}

TEST(FormsLibraries, ACommandOfTheFirmwareIsRecordedWithoutItsPointersAndTheirSizes) {
    Recorder recorder;
    char data[6] = {};
    _MR_DCMD_FRAME frame{};
    frame.transferLength = sizeof(data);
    frame.operation = 0x01160200;
    frame.flags = 2;
    frame.mailbox[0] = 3;
    frame.data = data;
    _SL_LIB_CMD_PARAM_T block{};
    block.commandType = 6;
    block.command = 3;
    block.dataSize = sizeof(frame);
    block.data = &frame;
    recorded<Process>(recorder, recording::raidEntryPoint, process)(&block);
    const Fields& question = recorder.calls[0].first;
    EXPECT_EQ(question.count("size"), 0u) << "it depends on the ABI";
    EXPECT_EQ(question.at("length"), "6");
    EXPECT_EQ(question.at("operation"), "18219520");
    EXPECT_EQ(question.at("mailbox"), std::string("\3\0\0\0\0\0\0\0\0\0\0\0", 12));
    EXPECT_EQ(recorder.calls[0].second.at("data"), "SAFE");

    Player player(recorder.calls[0].second);
    std::memset(data, 0xFF, sizeof(data));
    played<Process>(player, recording::raidEntryPoint)(&block);
    EXPECT_EQ(std::string(data, 6), std::string("SAFE\0\0", 6));
}

TEST(FormsLibraries, ARegistrationForEventsIsRecordedWithoutItsCallback) {
    Recorder recorder;
    _SL_REG_AEN_INPUT_T input{};
    input.count = 1;
    input.controllers[0].controllerId = 2;
    input.controllers[0].sequence = 3;
    _SL_REG_AEN_OUTPUT_T output{};
    _SL_LIB_CMD_PARAM_T block{};
    block.command = 1;
    block.input = &input;
    block.dataSize = 264;
    block.data = output.data();
    recorded<Process>(recorder, recording::raidEntryPoint, process)(&block);
    EXPECT_EQ(recorder.calls[0].first.at("registration"),
              std::string("\1\0\0\0\2\0\0\0\0\0\0\0\3\0\0\0", 16));
}

TEST(FormsLibraries, ASCSIPassThroughHasItsHeaderInTheQuestion) {
    Recorder recorder;
    struct {
        vokScsiPassThroughHeader header{};
        char data[4] = {};
    } request;
    request.header.cdb[0] = 0x12;
    _SL_LIB_CMD_PARAM_T block{};
    block.commandType = 6;
    block.dataSize = sizeof(request);
    block.data = &request;
    recorded<Process>(recorder, recording::raidEntryPoint, process)(&block);
    const std::string header = recorder.calls[0].first.at("header");
    ASSERT_EQ(header.size(), 64u);
    EXPECT_EQ(header[12], 0x12);
}

TEST(FormsLibraries, WithoutAnAnswerACallFails) {
    Player player({});
    _SL_LIB_CMD_PARAM_T block{};
    EXPECT_EQ(played<Process>(player, recording::raidEntryPoint)(&block), 0x8002u);
    vokPhysLocRecord record{};
    std::uint64_t code = 4;
    EXPECT_NE(played<vokPhysLocEncode>(player, vokPhysLocEncodeSymbol)(&record, &code), 0);
    EXPECT_EQ(code, 4u) << "unchanged";
}

// --- Fibre Channel libraries ---

HBA_UINT32 oneAdapter() {
    return 1;
}
HBA_UINT32 twoAdapters() {
    return 2;
}
HBA_STATUS adapterName(HBA_UINT32 index, char* name) {
    std::strcpy(name, index == 0 ? "first" : "other");
    return 0;
}
HBA_HANDLE openAdapter(char* name) {
    return name[0] == 'f' ? 3 : 0;
}
HBA_STATUS portAttributes(HBA_HANDLE handle, HBA_UINT32 port, HBA_PORTATTRIBUTES* attributes) {
    attributes->PortFcId = handle * 256 + port;
    return 0;
}
HBA_STATUS registerFirst(HBA_ENTRYPOINTS* table) {
    table->GetNumberOfAdaptersHandler = oneAdapter;
    table->GetAdapterNameHandler = adapterName;
    table->OpenAdapterHandler = openAdapter;
    table->GetAdapterPortAttributesHandler = portAttributes;
    return 0;
}
HBA_STATUS registerSecond(HBA_ENTRYPOINTS* table) {
    table->GetNumberOfAdaptersHandler = twoAdapters;
    return 0;
}

TEST(FormsLibraries, EachHandlerOfEachLibraryIsRecordedAsItsOwn) {
    Recorder recorder;
    HBA_ENTRYPOINTS first{};
    HBA_ENTRYPOINTS second{};
    EXPECT_EQ(recorded<HBA_REGISTERLIBRARY>(recorder, HBA_RegisterLibrarySymbol, registerFirst, "a")(&first),
              0u);
    EXPECT_EQ(
        recorded<HBA_REGISTERLIBRARY>(recorder, HBA_RegisterLibrarySymbol, registerSecond, "b")(&second), 0u);
    EXPECT_EQ(recorder.calls[0].second,
              (Fields{{"result", "0"},
                      {"handlers",
                       "GetNumberOfAdaptersHandler\nGetAdapterNameHandler\nOpenAdapterHandler\n"
                       "GetAdapterPortAttributesHandler\n"}}));
    EXPECT_EQ(first.GetVersionHandler, nullptr) << "a handler that the library lacks stays away";
    EXPECT_EQ(first.GetNumberOfAdaptersHandler(), 1u);
    EXPECT_EQ(second.GetNumberOfAdaptersHandler(), 2u);
    EXPECT_EQ(recorder.calls[2],
              (std::pair<Fields, Fields>({{"library", "a"}, {"entry", "GetNumberOfAdaptersHandler"}},
                                         {{"result", "1"}})));
    EXPECT_EQ(recorder.calls[3].first.at("library"), "b");
}

TEST(FormsLibraries, TextsAndRecordsOfAHandlerComeBack) {
    Recorder recorder;
    HBA_ENTRYPOINTS table{};
    recorded<HBA_REGISTERLIBRARY>(recorder, HBA_RegisterLibrarySymbol, registerFirst)(&table);
    char name[512] = {};
    table.GetAdapterNameHandler(0, name);
    EXPECT_EQ(table.OpenAdapterHandler(name), 3u);
    HBA_PORTATTRIBUTES attributes{};
    table.GetAdapterPortAttributesHandler(3, 2, &attributes);
    EXPECT_EQ(recorder.calls[1].second, (Fields{{"result", "0"}, {"name", "first"}}));
    EXPECT_EQ(recorder.calls[2].first.at("name"), "first");
    EXPECT_EQ(recorder.calls[3].first.at("port"), "2");
    EXPECT_EQ(recorder.calls[3].second.at("attributes"), std::string(16, '\0') + "\x02\x03");

    Player player(recorder.calls[0].second);
    HBA_ENTRYPOINTS other{};
    EXPECT_EQ(played<HBA_REGISTERLIBRARY>(player, HBA_RegisterLibrarySymbol)(&other), 0u);
    EXPECT_EQ(other.GetVersionHandler, nullptr);
    player.answer = recorder.calls[1].second;
    char again[512];
    std::memset(again, 'x', sizeof(again));
    EXPECT_EQ(other.GetAdapterNameHandler(0, again), 0u);
    EXPECT_STREQ(again, "first");
    player.answer = recorder.calls[3].second;
    std::memset(&attributes, 0xFF, sizeof(attributes));
    EXPECT_EQ(other.GetAdapterPortAttributesHandler(3, 2, &attributes), 0u);
    EXPECT_EQ(attributes.PortFcId, 770u);
    EXPECT_EQ(attributes.PortType, 0u);
}

// --- the sets ---

TEST(FormsLibraries, OnlyKnownSymbolsHaveAThunk) {
    Recorder recorder;
    EXPECT_EQ(LibraryThunks::of("lib.so", recorder)->find("HBA_GetVersion"), nullptr);
}

TEST(FormsLibraries, TheSetsAreBoundedAndTheSameLibraryHasTheSameOne) {
    Recorder recorder;
    std::size_t count = 0;  // other tests of the process may have taken some
    while (count <= LibraryThunks::most && LibraryThunks::of("lib" + std::to_string(count), recorder))
        ++count;
    EXPECT_GT(count, 32u) << "the libraries that hba.conf may name";
    EXPECT_LE(count, LibraryThunks::most);
    EXPECT_FALSE(LibraryThunks::of("one more", recorder));
    EXPECT_TRUE(LibraryThunks::of("lib3", recorder)) << "as before";
    EXPECT_FALSE(LibraryThunks::of("", recorder));
}

TEST(FormsLibraries, ACallAfterTheEndOfItsCalleeFails) {
    HBA_ENTRYPOINTS table{};
    {
        Recorder recorder;
        recorded<HBA_REGISTERLIBRARY>(recorder, HBA_RegisterLibrarySymbol, registerFirst)(&table);
    }
    EXPECT_EQ(table.GetNumberOfAdaptersHandler(), 0u);
}

}  // namespace
}  // namespace FormsLibrariesTest
