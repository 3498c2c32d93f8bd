// The entry points of the test host's stand-in library, as C has them.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

using TestCallback = void (*)(void* context, std::uint32_t kind, const char* bytes, std::size_t size);

// A request to the host in whose lib the library lies: the status, and as much of the reply's bytes as there
// is room for, with their whole number in `size`.
std::int32_t test_request(std::uint32_t kind, const char* bytes, std::size_t count, char* room,
                          std::size_t roomSize, std::size_t* size);
// Events of one kind, 0 for all: 0, or -1 when there is no host or it is subscribed already.
int test_subscribe(std::uint32_t kind, TestCallback callback, void* context);
void test_unsubscribe();
}
