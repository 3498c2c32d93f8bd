#include "recording/FormsLibraries.h"

#include <array>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <utility>

#include "recording/HbaHandlers.h"
#include "recording/LibraryParameters.h"

namespace recording {

namespace {

constexpr physloc_rtn_t notEncoded = 1;

// --- the sets ---

struct ThunkSet {
    std::mutex mutex;  // guards all below
    std::string library;
    LibraryCallee* callee = nullptr;
    std::map<std::string, void*> originals;
};

// Never destroyed: code of a library may call while the process ends.
std::array<ThunkSet, LibraryThunks::most>& thunkSets() {
    static auto* const sets = new std::array<ThunkSet, LibraryThunks::most>;
    return *sets;
}

LibraryCallee* calleeOf(std::size_t set) {
    ThunkSet& thunks = thunkSets()[set];
    const std::lock_guard<std::mutex> lock(thunks.mutex);
    return thunks.callee;
}

void* originalOf(std::size_t set, const std::string& entry) {
    ThunkSet& thunks = thunkSets()[set];
    const std::lock_guard<std::mutex> lock(thunks.mutex);
    const auto found = thunks.originals.find(entry);
    return found == thunks.originals.end() ? nullptr : found->second;
}

void storeOriginal(std::size_t set, const std::string& entry, void* function) {
    ThunkSet& thunks = thunkSets()[set];
    const std::lock_guard<std::mutex> lock(thunks.mutex);
    thunks.originals[entry] = function;
}

// --- calls ---

// A call of the entry point `Entry` of the library of a set: see the entries below.
template <typename Entry, typename Result, typename... Arguments>
class EntryCall final : public LibraryCall {
public:
    EntryCall(std::size_t set, Arguments... arguments)
        : set_(set), arguments_(arguments...), parameters_(Entry::parameters(set, arguments...)) {
        ThunkSet& thunks = thunkSets()[set];
        {
            const std::lock_guard<std::mutex> lock(thunks.mutex);
            question_["library"] = thunks.library;
        }
        question_["entry"] = Entry::name();
        for (const LibraryParameter& parameter : parameters_)
            if (parameter.ask) parameter.ask(question_);
    }

    const Fields& question() const override { return question_; }

    Fields make() override {
        using Function = Result (*)(Arguments...);
        const auto function = reinterpret_cast<Function>(originalOf(set_, Entry::name()));
        Fields answer;
        if (!function) return answer;
        if constexpr (std::is_void_v<Result>) {
            std::apply(function, arguments_);
        } else {
            result_ = std::apply(function, arguments_);
            answer["result"] = std::to_string(result_);
        }
        for (const LibraryParameter& parameter : parameters_)
            if (parameter.answer) parameter.answer(answer);
        return answer;
    }

    void play(const Fields& answer) override {
        if constexpr (!std::is_void_v<Result>) {
            if (answer.count("result") == 0) return;
            result_ = static_cast<Result>(numberOf(answer, "result"));
        }
        for (const LibraryParameter& parameter : parameters_)
            if (parameter.play) parameter.play(answer);
    }

    Result result() const {
        if constexpr (!std::is_void_v<Result>) return result_;
    }

private:
    using Stored = std::conditional_t<std::is_void_v<Result>, int, Result>;

    std::size_t set_;
    std::tuple<Arguments...> arguments_;
    LibraryParameters parameters_;
    Fields question_;
    Stored result_ = static_cast<Stored>(Entry::failure());
};

template <typename Entry, typename Function>
struct Thunks;

template <typename Entry, typename Result, typename... Arguments>
struct Thunks<Entry, Result (*)(Arguments...)> {
    using Function = Result (*)(Arguments...);

    static Result call(std::size_t set, Arguments... arguments) {
        EntryCall<Entry, Result, Arguments...> made(set, arguments...);
        if (LibraryCallee* const callee = calleeOf(set)) callee->called(made);
        return made.result();
    }
    template <std::size_t set>
    static Result thunk(Arguments... arguments) {
        return call(set, arguments...);
    }
    template <std::size_t... sets>
    static constexpr std::array<Function, sizeof...(sets)> all(std::index_sequence<sets...>) {
        return {&thunk<sets>...};
    }
    static Function of(std::size_t set) {
        static constexpr auto thunks = all(std::make_index_sequence<LibraryThunks::most>());
        return thunks[set];
    }
};

// --- the entries ---

struct InitEntry {
    using Function = vokPhysLocInit;
    static const char* name() { return vokPhysLocInitSymbol; }
    static int failure() { return notEncoded; }
    static LibraryParameters parameters(std::size_t /*set*/, vokPhysLocRecord* record, int version) {
        return parametersOfInit(record, version);
    }
};

struct EncodeEntry {
    using Function = vokPhysLocEncode;
    static const char* name() { return vokPhysLocEncodeSymbol; }
    static physloc_rtn_t failure() { return notEncoded; }
    static LibraryParameters parameters(std::size_t /*set*/, vokPhysLocRecord* record, std::uint64_t* code) {
        return parametersOfEncode(record, code);
    }
};

struct RaidEntry {
    using Function = std::uint32_t (*)(_SL_LIB_CMD_PARAM_T*);
    static const char* name() { return raidEntryPoint; }
    static std::uint32_t failure() { return vokStoreLibFailed; }
    static LibraryParameters parameters(std::size_t /*set*/, _SL_LIB_CMD_PARAM_T* block) {
        return parametersOfRaidCommand(block);
    }
};

template <auto member>
struct HandlerEntry {
    using Function = std::remove_reference_t<decltype(std::declval<HBA_ENTRYPOINTS>().*member)>;
    static constexpr HbaHandler<member> handler = std::get<HbaHandler<member>>(hbaHandlers);
    static const char* name() { return handler.name; }
    static HBA_STATUS failure() { return handler.failure; }
    template <typename... Arguments>
    static LibraryParameters parameters(std::size_t /*set*/, Arguments... arguments) {
        return parametersOf(handler, arguments...);
    }
};

template <typename Entry>
typename Entry::Function thunkOf(std::size_t set) {
    return Thunks<Entry, typename Entry::Function>::of(set);
}

// Replaces a handler that the table has by its thunk and appends its name to `names`, one a line.
template <auto member>
void takeHandler(HbaHandler<member> handler, std::size_t set, HBA_ENTRYPOINTS& table, std::string& names) {
    if (!(table.*member)) return;
    names.append(handler.name).append("\n");
    storeOriginal(set, handler.name, reinterpret_cast<void*>(table.*member));
    table.*member = thunkOf<HandlerEntry<member>>(set);
}

// Fills in the thunk of a handler that is one of `names`.
template <auto member>
void giveHandler(HbaHandler<member> handler, std::size_t set, const std::set<std::string>& names,
                 HBA_ENTRYPOINTS& table) {
    if (names.count(handler.name) > 0) table.*member = thunkOf<HandlerEntry<member>>(set);
}

LibraryParameter handlersOf(std::size_t set, HBA_ENTRYPOINTS* table) {
    if (!table) return {};
    return {nullptr,
            [=](Fields& answer) {
                std::string names;
                std::apply([&](auto... handlers) { (takeHandler(handlers, set, *table, names), ...); },
                           hbaHandlers);
                answer["handlers"] = names;
            },
            [=](const Fields& answer) {
                std::istringstream lines(textOf(answer, "handlers"));
                std::set<std::string> names;
                for (std::string name; std::getline(lines, name);) names.insert(name);
                std::apply([&](auto... handlers) { (giveHandler(handlers, set, names, *table), ...); },
                           hbaHandlers);
            }};
}

struct RegisterEntry {
    using Function = HBA_REGISTERLIBRARY;
    static const char* name() { return HBA_RegisterLibrarySymbol; }
    static HBA_STATUS failure() { return HBA_STATUS_ERROR; }
    static LibraryParameters parameters(std::size_t set, HBA_ENTRYPOINTS* table) {
        return {handlersOf(set, table)};
    }
};

template <typename Entry>
void* symbolThunk(std::size_t set) {
    return reinterpret_cast<void*>(thunkOf<Entry>(set));
}

struct SymbolRow {
    const char* symbol;
    void* (*thunk)(std::size_t set);
};
constexpr SymbolRow symbols[] = {
    {vokPhysLocInitSymbol, symbolThunk<InitEntry>},
    {vokPhysLocEncodeSymbol, symbolThunk<EncodeEntry>},
    {raidEntryPoint, symbolThunk<RaidEntry>},
    {HBA_RegisterLibrarySymbol, symbolThunk<RegisterEntry>},
};

}  // namespace

Fields libraryQuestion(const std::string& library) {
    return {{"library", library}};
}

Fields symbolQuestion(const std::string& library, const std::string& symbol) {
    return {{"library", library}, {"symbol", symbol}};
}

Fields libraryAnswer(bool isOpen, const std::string& error) {
    return {{"opened", isOpen ? "1" : "0"}, {"error", error}};
}

Fields symbolAnswer(bool isFound, const std::string& error) {
    return {{"found", isFound ? "1" : "0"}, {"error", error}};
}

std::optional<LibraryThunks> LibraryThunks::of(const std::string& library, LibraryCallee& callee) {
    if (library.empty()) return std::nullopt;
    for (std::size_t set = 0; set < most; ++set) {
        ThunkSet& thunks = thunkSets()[set];
        const std::lock_guard<std::mutex> lock(thunks.mutex);
        if (!thunks.library.empty() && thunks.library != library) continue;
        thunks.library = library;
        thunks.callee = &callee;
        return LibraryThunks(set);
    }
    return std::nullopt;
}

void LibraryThunks::forget(const LibraryCallee& callee) {
    for (ThunkSet& thunks : thunkSets()) {
        const std::lock_guard<std::mutex> lock(thunks.mutex);
        if (thunks.callee == &callee) thunks.callee = nullptr;
    }
}

void* LibraryThunks::find(const std::string& symbol) const {
    for (const SymbolRow& row : symbols)
        if (symbol == row.symbol) return row.thunk(set_);
    return nullptr;
}

void LibraryThunks::setOriginal(const std::string& symbol, void* function) const {
    storeOriginal(set_, symbol, function);
}

}  // namespace recording
