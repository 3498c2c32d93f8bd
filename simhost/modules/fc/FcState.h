// The HBA libraries while the host runs: what their entry points return, and how they fail as told.
#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/HostModule.h"
#include "library/LibraryServer.h"
#include "modules/fc/FcAdapters.h"
#include "modules/fc/FcWire.h"

namespace simhost {

// Which calls are meant: a part that is missing stands for all.
struct FcCallChoice {
    std::optional<std::size_t> library;  // place in fcLibraries
    std::optional<FcEntry> entry;
    std::string adapter;
    std::optional<std::uint32_t> port;
};

// What becomes of them.
struct FcFault {
    enum Kind { fail, slow, hang, rubbish, missing };
    FcCallChoice choice;
    Kind kind = fail;
    std::uint32_t result = 0;  // of a failed one
    double seconds = 0;
    std::optional<long long> count;  // so many more; none: for good
};

class FcState : public ModuleState {
public:
    explicit FcState(SimulatedHost& host);

    void hostGoesDown() override;

    void add(const FcFault& fault) { faults_.push_back(fault); }
    // Cancels the faults that this choice covers, and answers what hangs because of them.
    void cancel(const FcCallChoice& choice);
    // The adapter vanishes, or does so after the next call of an entry point that may concern it.
    void vanish(const std::string& adapter);
    void vanishAfter(const std::string& adapter, FcEntry entry);
    void comeBack(const std::string& adapter);
    void show(Json::Value& shown);

private:
    struct Call;
    struct Answer {
        std::uint32_t result = 0;
        std::string record;
    };
    struct Opened {
        std::uint32_t process;
        std::string adapter;
    };
    struct Library {
        std::map<FcEntry, std::uint64_t> calls;
        std::map<std::uint32_t, Opened> opened;  // by handle
        std::uint32_t lastNumber = 0;            // of a handle
    };
    struct Hanging {
        std::size_t library;
        FcCallChoice choice;  // of the fault
        std::function<void()> answer;
    };

    void handle(const std::string& bytes, const LibraryServer::Reply& reply);
    std::vector<const FcAdapter*> listed(std::size_t library);
    const FcAdapter* adapterOf(const Call& call);
    FcFault* faultFor(const Call& call);
    void count(const Call& call);
    Answer answer(const Call& call);
    Answer answerOpened(const Call& call, const FcAdapter& adapter);
    Answer byPortName(const Call& call, const FcAdapter& adapter);
    std::uint32_t missingEntries(std::size_t library) const;
    std::uint32_t open(const Call& call);
    void forgetProcess(std::size_t library, std::uint32_t process);
    void vanishAfter(const Call& call);
    void setGone(const std::string& adapter, bool gone);

    SimulatedHost& host_;
    std::vector<FcFault> faults_;
    std::vector<Hanging> hanging_;
    Library libraries_[std::size(fcLibraries)];
    std::map<std::string, std::map<FcEntry, std::uint64_t>> adapterCalls_;
    std::vector<std::pair<std::string, FcEntry>> vanishing_;  // adapter, and after which call
};

// The rows of the control commands.
Rows<ControlCommand> fcCommands();

}  // namespace simhost
