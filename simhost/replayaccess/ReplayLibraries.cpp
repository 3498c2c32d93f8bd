#include "replayaccess/ReplayLibraries.h"

#include <optional>
#include <utility>

#include "recording/FormsLibraries.h"

namespace simhost {

namespace {

thread_local std::string lastError;

void* failWith(std::string reason) {
    lastError = std::move(reason);
    return nullptr;
}

}  // namespace

class ReplayLibraries::Library : public recording::LibraryCallee {
public:
    Library(std::string name, ReplayQuestions& questions)
        : questions_(questions),
          name_(std::move(name)),
          thunks_(recording::LibraryThunks::of(name_, *this)) {}
    ~Library() override { recording::LibraryThunks::forget(*this); }

    // A question that is not recorded gets an answer without a result, which is a failure.
    void called(recording::LibraryCall& call) override {
        call.play(questions_.ask(recording::kinds::call, call.question()).fields);
    }

    const std::string& name() const { return name_; }
    void* find(const std::string& symbol) const { return thunks_ ? thunks_->find(symbol) : nullptr; }

private:
    ReplayQuestions& questions_;
    std::string name_;
    std::optional<recording::LibraryThunks> thunks_;
};

ReplayLibraries::ReplayLibraries(ReplayQuestions& questions) : questions_(questions) {}

ReplayLibraries::~ReplayLibraries() = default;

void* ReplayLibraries::open(const std::string& name) {
    const auto answer = questions_.ask(recording::kinds::library, recording::libraryQuestion(name));
    if (!answer) return failWith(name + ": not in the recording");
    const std::string& error = recording::textOf(answer.fields, "error");
    if (!error.empty()) return failWith(error);
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& library = libraries_[name];
    if (!library) library = std::make_unique<Library>(name, questions_);
    return library.get();
}

void* ReplayLibraries::symbol(void* handle, const std::string& symbol) {
    const auto& library = *static_cast<const Library*>(handle);
    const auto answer =
        questions_.ask(recording::kinds::symbol, recording::symbolQuestion(library.name(), symbol));
    if (!answer) return failWith(library.name() + ": " + symbol + " is not in the recording");
    if (recording::textOf(answer.fields, "found") != "1")
        return failWith(recording::textOf(answer.fields, "error"));
    void* const found = library.find(symbol);
    return found ? found : failWith(library.name() + ": calls of " + symbol + " can't be played back");
}

std::string ReplayLibraries::error() {
    return std::exchange(lastError, {});
}

}  // namespace simhost
