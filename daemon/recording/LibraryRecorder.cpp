#include "daemon/recording/LibraryRecorder.h"

#include <utility>

namespace {

// As dlerror(3) has it: of the calling thread.
thread_local std::string pendingError;

}  // namespace

LibraryRecorder::~LibraryRecorder() {
    recording::LibraryThunks::forget(*this);
}

void* LibraryRecorder::open(const std::string& library, const std::string& name, int flags) {
    void* const handle = access_.openLibrary(name, flags);
    const std::string reason = handle ? "" : takeError();
    log_.add(recording::kinds::library, recording::libraryQuestion(library),
             recording::libraryAnswer(handle != nullptr, texts_.ofHost(reason)));
    const std::lock_guard<std::mutex> lock(mutex_);
    if (handle) names_[handle] = library;
    return handle;
}

void* LibraryRecorder::symbol(void* handle, const char* symbol) {
    const std::string library = nameOf(handle);
    void* const found = access_.librarySymbol(handle, symbol);
    const std::string reason = found ? "" : takeError();
    log_.add(recording::kinds::symbol, recording::symbolQuestion(library, symbol),
             recording::symbolAnswer(found != nullptr, texts_.ofHost(reason)));
    return found ? replaced(library, symbol, found) : nullptr;
}

void* LibraryRecorder::replaced(const std::string& library, const char* symbol, void* found) {
    const auto thunks = recording::LibraryThunks::of(library, *this);
    void* const thunk = thunks ? thunks->find(symbol) : nullptr;
    if (!thunk) {
        log_.remark("calls of " + std::string(symbol) + " of " + library + " are not recorded");
        return found;
    }
    thunks->setOriginal(symbol, found);
    return thunk;
}

int LibraryRecorder::close(void* handle) {
    // dlopen(3) may have returned the same handle twice, so its name stays.
    return access_.closeLibrary(handle);
}

std::string LibraryRecorder::takeError() {
    pendingError = access_.libraryError();
    return pendingError;
}

std::string LibraryRecorder::error() {
    std::string last = access_.libraryError();
    std::string kept = std::exchange(pendingError, {});
    return last.empty() ? kept : last;
}

std::string LibraryRecorder::nameOf(void* handle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = names_.find(handle);
    return found == names_.end() ? std::string() : found->second;
}

void LibraryRecorder::called(recording::LibraryCall& call) {
    recording::Fields answer = call.make();
    log_.add(recording::kinds::call, call.question(), std::move(answer));
}
