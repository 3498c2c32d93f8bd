#include "testhost/TestLibrary.h"

#include <algorithm>
#include <cstring>

#include "library/LibraryClient.h"

namespace {

simhost::LibraryEvents& events() {
    static simhost::LibraryEvents made;
    return made;
}

}  // namespace

VOK_ENTRY_POINT std::int32_t test_request(std::uint32_t kind, const char* bytes, std::size_t count,
                                          char* room, std::size_t roomSize, std::size_t* size) {
    const simhost::LibraryReply reply = simhost::ownLibraryClient().request(kind, std::string(bytes, count));
    *size = reply.bytes.size();
    std::memcpy(room, reply.bytes.data(), std::min(roomSize, reply.bytes.size()));
    return reply.status;
}

VOK_ENTRY_POINT int test_subscribe(std::uint32_t kind, TestCallback callback, void* context) {
    std::vector<std::uint32_t> kinds;
    if (kind != 0) kinds.push_back(kind);
    const auto call = [callback, context](std::uint32_t each, const std::string& bytes) {
        callback(context, each, bytes.data(), bytes.size());
    };
    return events().start(simhost::ownHostRoot(), kinds, call) ? 0 : -1;
}

VOK_ENTRY_POINT void test_unsubscribe() {
    events().stop();
}
