#include "support/FailingThreads.h"

#include <dlfcn.h>
#include <pthread.h>
#include <cerrno>
#include <mutex>

int threadsThatCanBeCreated = -1;
int resultOfJoins = 0;
std::vector<pthread_t> joinedThreads;

// Both stand before the C library's own for this program and the libraries it loads.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    if (threadsThatCanBeCreated == 0) return EAGAIN;
    if (threadsThatCanBeCreated > 0) --threadsThatCanBeCreated;
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, body, argument);
}

extern "C" int pthread_join(pthread_t thread, void** result) {
    {
        static std::mutex guard;
        const std::lock_guard<std::mutex> lock(guard);
        joinedThreads.push_back(thread);
    }
    if (resultOfJoins != 0) return resultOfJoins;
    using Join = int (*)(pthread_t, void**);
    static const auto join = reinterpret_cast<Join>(::dlsym(RTLD_NEXT, "pthread_join"));
    return join(thread, result);
}
