// A stand-in of a vendor's library under load: its requests to the host, and the events for its callbacks.
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <thread>

#include "common/PacketSocket.h"
#include "common/UnixSocket.h"
#include "library/LibraryClient.h"
#include "library/LibraryMessage.h"
#include "simhost/TestHost.h"
#include "testhost/TestKinds.h"
#include "testhost/TestLibrary.h"

namespace LibraryChannelTest {
namespace {

std::string fourBytes(std::uint32_t number) {
    std::string bytes;
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
    return bytes;
}

// A library as an agent loads it.
class LoadedLibrary {
public:
    explicit LoadedLibrary(const std::string& path)
        : library_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
        if (!library_) throw std::runtime_error(::dlerror());
        request_ = reinterpret_cast<decltype(&test_request)>(::dlsym(library_, "test_request"));
        subscribe_ = reinterpret_cast<decltype(&test_subscribe)>(::dlsym(library_, "test_subscribe"));
        unsubscribe = reinterpret_cast<decltype(&test_unsubscribe)>(::dlsym(library_, "test_unsubscribe"));
    }
    ~LoadedLibrary() {
        unsubscribe();
        ::dlclose(library_);
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    std::int32_t request(std::uint32_t kind, const std::string& bytes, std::string* reply = nullptr,
                         std::size_t room = 0) {
        std::string space(room, '\0');
        std::size_t size = 0;
        const std::int32_t status =
            request_(kind, bytes.data(), bytes.size(), space.data(), space.size(), &size);
        space.resize(std::min(room, size));
        if (reply) *reply = space;
        return status;
    }
    int subscribe(std::uint32_t kind, TestCallback callback, void* context) {
        return subscribe_(kind, callback, context);
    }
    bool exports(const char* symbol) { return ::dlsym(library_, symbol) != nullptr; }
    void (*unsubscribe)() = nullptr;

private:
    void* library_;
    decltype(&test_request) request_ = nullptr;
    decltype(&test_subscribe) subscribe_ = nullptr;
};

// What the callbacks have been called with.
class Received {
public:
    static void callback(void* self, std::uint32_t kind, const char* bytes, std::size_t size) {
        static_cast<Received*>(self)->add(kind, std::string(bytes, size));
    }
    bool waitFor(std::size_t count) {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return events_.size() >= count; });
    }
    std::vector<std::pair<std::uint32_t, std::string>> events() {
        const std::lock_guard<std::mutex> lock(mutex_);
        return events_;
    }

private:
    void add(std::uint32_t kind, const std::string& bytes) {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.emplace_back(kind, bytes);
        changed_.notify_all();
    }
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::pair<std::uint32_t, std::string>> events_;
};

unsigned threadsOfThisProcess() {
    unsigned count = 0;
    for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/task")) ++count;
    return count;
}

// The kernel may list a thread for a moment after it was joined.
bool threadsBecome(unsigned count) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (threadsOfThisProcess() != count && std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return threadsOfThisProcess() == count;
}

class LibraryChannel : public TestHost {
protected:
    void SetUp() override {
        std::thread([] {}).join();  // with the first thread, ThreadSanitizer starts one of its own
        startTestHost();
        library = std::make_unique<LoadedLibrary>(root() + "/lib/libtest.so");
    }
    std::unique_ptr<LoadedLibrary> library;
};

TEST_F(LibraryChannel, ARequestHasItsStatusAndItsBytes) {
    std::string reply;
    EXPECT_EQ(library->request(echo, std::string("a\0b", 3), &reply, 100), 3);
    EXPECT_EQ(reply, std::string("a\0b", 3));
    EXPECT_EQ(library->request(echo, ""), 0);
    EXPECT_EQ(library->request(0x12345678, "x"), simhost::libraryKindUnknown);
}

TEST_F(LibraryChannel, ARepliesOfMebibytesAreWhole) {
    std::string sent(20u << 20, '\0');
    for (std::size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<char>(i * 2654435761u >> 24);
    std::string reply;
    EXPECT_EQ(library->request(echo, sent, &reply, sent.size()), 20 << 20);
    EXPECT_TRUE(reply == sent);
}

TEST_F(LibraryChannel, ARequestBeyondTheLimitFailsAndTheNextSucceeds) {
    EXPECT_EQ(library->request(echo, std::string(simhost::longestLibraryPacket, 'x')),
              simhost::libraryHostGone);
    EXPECT_EQ(library->request(echo, "ab"), 2);
}

TEST_F(LibraryChannel, EventsComeInOrderOnAThreadOfTheLibrary) {
    Received received;
    const unsigned before = threadsOfThisProcess();
    ASSERT_EQ(library->subscribe(0, Received::callback, &received), 0);
    EXPECT_EQ(library->subscribe(0, Received::callback, &received), -1) << "already";
    EXPECT_EQ(threadsOfThisProcess(), before + 1);
    EXPECT_EQ(library->request(postEvents, fourBytes(1000)), 0);
    ASSERT_TRUE(received.waitFor(1000));
    const auto events = received.events();
    ASSERT_EQ(events.size(), 1000u);
    for (std::uint32_t i = 0; i < 1000; ++i) {
        EXPECT_EQ(events[i].first, numbered);
        EXPECT_EQ(events[i].second, fourBytes(i));
    }
    library->unsubscribe();
    EXPECT_TRUE(threadsBecome(before));
    EXPECT_EQ(library->request(postEvents, fourBytes(10)), 0);
    EXPECT_EQ(received.events().size(), 1000u);
}

TEST_F(LibraryChannel, ASubscriberOfOneKindGetsNoOther) {
    Received received;
    ASSERT_EQ(library->subscribe(named, Received::callback, &received), 0);
    EXPECT_EQ(library->request(postEvents, fourBytes(5)), 0);
    hostControl({"test-event", "fan failed"});
    ASSERT_TRUE(received.waitFor(1));
    EXPECT_THAT(received.events(), testing::ElementsAre(testing::Pair(named, "fan failed")));
}

TEST_F(LibraryChannel, WhatAStoppedSubscriberMissedDoesNotComeWhenItStartsAnew) {
    Received received;
    ASSERT_EQ(library->subscribe(named, Received::callback, &received), 0);
    library->unsubscribe();
    library->unsubscribe();
    hostControl({"test-event", "missed"});
    ASSERT_EQ(library->subscribe(named, Received::callback, &received), 0);
    hostControl({"test-event", "seen"});
    ASSERT_TRUE(received.waitFor(1));
    EXPECT_THAT(received.events(), testing::ElementsAre(testing::Pair(named, "seen")));
}

// A callback that stands until it is let go.
struct Slow {
    std::promise<void> entered;
    std::promise<void> go;
    std::atomic<int> calls{0};
    std::atomic<bool> left{false};
    static void callback(void* context, std::uint32_t, const char*, std::size_t) {
        auto& self = *static_cast<Slow*>(context);
        if (++self.calls > 1) return;
        self.entered.set_value();
        self.go.get_future().wait();
        self.left = true;
    }
};

// True if the thread of this process sleeps, that is waits for something.
bool sleeps(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const auto nameEnd = text.rfind(") ");
    return nameEnd != std::string::npos && text.compare(nameEnd + 2, 1, "S") == 0;
}

TEST_F(LibraryChannel, StoppingWaitsForTheCallbackInProgressAndNoneFollows) {
    Slow slow;
    ASSERT_EQ(library->subscribe(numbered, Slow::callback, &slow), 0);
    library->request(postEvents, fourBytes(500));
    slow.entered.get_future().wait();
    std::atomic<pid_t> stopper{0};
    auto stopped = std::async(std::launch::async, [&] {
        stopper = ::gettid();
        library->unsubscribe();
        return slow.left.load();
    });
    // Otherwise the next callback might come before the stop.
    const auto hasReturned = [&] {
        return stopped.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    while (!hasReturned() && (stopper == 0 || !sleeps(stopper))) std::this_thread::yield();
    EXPECT_FALSE(hasReturned()) << "although the callback is in progress";
    slow.go.set_value();
    EXPECT_TRUE(stopped.get());
    EXPECT_EQ(slow.calls, 1);
}

TEST_F(LibraryChannel, StoppingInTheMiddleOfEventsLeavesNoThread) {
    const unsigned before = threadsOfThisProcess();
    for (int i = 0; i < 50; ++i) {
        Received received;
        ASSERT_EQ(library->subscribe(0, Received::callback, &received), 0);
        library->request(postEvents, fourBytes(100));
        library->unsubscribe();
        EXPECT_LE(received.events().size(), 100u);
    }
    EXPECT_TRUE(threadsBecome(before));
}

struct StopsItself {
    LoadedLibrary* library;
    std::atomic<int> calls{0};
    static void callback(void* context, std::uint32_t, const char*, std::size_t) {
        auto& self = *static_cast<StopsItself*>(context);
        ++self.calls;
        self.library->request(echo, "a callback may ask");
        self.library->unsubscribe();
    }
};

TEST_F(LibraryChannel, ACallbackMayAskTheHostAndStopItsOwnEvents) {
    StopsItself context{library.get(), {}};
    const unsigned before = threadsOfThisProcess();
    ASSERT_EQ(library->subscribe(numbered, StopsItself::callback, &context), 0);
    library->request(postEvents, fourBytes(20));
    while (context.calls == 0) std::this_thread::yield();
    library->unsubscribe();
    EXPECT_EQ(context.calls, 1);
    EXPECT_TRUE(threadsBecome(before));
}

TEST_F(LibraryChannel, AHostThatIsKilledEndsARequestAndTheNextFindsItsSuccessor) {
    Received received;
    ASSERT_EQ(library->subscribe(0, Received::callback, &received), 0);
    auto reply = std::async(std::launch::async, [&] { return library->request(neverReply, ""); });
    while (hostState()["testDisk"]["unanswered"].asInt() == 0) std::this_thread::yield();
    hostProgram.end(SIGKILL);
    EXPECT_EQ(reply.get(), simhost::libraryHostGone);
    EXPECT_EQ(library->request(echo, "x"), simhost::libraryHostGone);
    library->unsubscribe();
    EXPECT_EQ(library->subscribe(0, Received::callback, &received), -1);
    startTestHost();
    EXPECT_EQ(library->request(echo, "xy"), 2);
    ASSERT_EQ(library->subscribe(0, Received::callback, &received), 0);
    hostControl({"test-event", "back"});
    EXPECT_TRUE(received.waitFor(1));
}

TEST_F(LibraryChannel, AHostThatEndsInTheMiddleOfItsEventsLeavesNothingToWaitFor) {
    Slow slow;
    ASSERT_EQ(library->subscribe(numbered, Slow::callback, &slow), 0);
    library->request(postEvents, fourBytes(300));
    slow.entered.get_future().wait();
    EXPECT_EQ(library->request(die, ""), simhost::libraryHostGone);
    slow.go.set_value();
    library->unsubscribe();
}

TEST_F(LibraryChannel, TwoClientsHaveEachTheirRequestsAndTheirEvents) {
    simhost::LibraryClient other(root());
    simhost::LibraryEvents otherEvents;
    Received received, otherReceived;
    ASSERT_EQ(library->subscribe(0, Received::callback, &received), 0);
    ASSERT_TRUE(otherEvents.start(root(), {numbered}, [&](std::uint32_t kind, const std::string& bytes) {
        Received::callback(&otherReceived, kind, bytes.data(), bytes.size());
    }));
    std::vector<std::future<bool>> threads;
    for (int t = 0; t < 4; ++t)
        threads.push_back(std::async(std::launch::async, [&, t] {
            for (int i = 0; i < 100; ++i) {
                const std::string bytes(static_cast<std::size_t>(i * 1000 + t), static_cast<char>('a' + t));
                std::string reply;
                if (t % 2 == 0) {
                    reply = other.request(echo, bytes).bytes;
                } else {
                    library->request(echo, bytes, &reply, bytes.size());
                }
                if (reply != bytes) return false;
            }
            return true;
        }));
    for (auto& each : threads) EXPECT_TRUE(each.get());
    EXPECT_EQ(other.request(postEvents, fourBytes(100)).status, 0);
    EXPECT_TRUE(received.waitFor(100));
    EXPECT_TRUE(otherReceived.waitFor(100));
    EXPECT_EQ(received.events(), otherReceived.events());
}

TEST_F(LibraryChannel, AStrangerAtTheSocketIsDisconnectedAndNobodyElse) {
    const std::string socket = root() + "/run/simhost/library.sock";
    using simhost::LibraryMessage;
    using Type = simhost::LibraryMessageType;
    for (const std::string& bytes : {std::string("\x01", 1), std::string("\x01\x09\0\0\0\0\0\0\0\0", 10),
                                     '\x01' + LibraryMessage{Type::event, 1, 2, ""}.encode(),
                                     '\x01' + LibraryMessage{Type::reply, 1, 0, ""}.encode(),
                                     '\x01' + LibraryMessage{Type::subscription, 1, 0, "odd"}.encode()}) {
        const simhost::FileDescriptor stranger = simhost::connectTo(socket, SOCK_SEQPACKET);
        ::send(stranger.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        char answer[64];
        EXPECT_LE(::recv(stranger.get(), answer, sizeof(answer), 0), 0);
    }
    const simhost::FileDescriptor hasty = simhost::connectTo(socket, SOCK_SEQPACKET);
    ASSERT_TRUE(simhost::sendPacket(hasty.get(), LibraryMessage{Type::request, 1, neverReply, ""}.encode()));
    ASSERT_TRUE(simhost::sendPacket(hasty.get(), LibraryMessage{Type::request, 2, echo, "x"}.encode()));
    EXPECT_EQ(simhost::receivePacket(hasty.get(), 100), std::nullopt) << "a second one before its reply";
    EXPECT_EQ(library->request(echo, "xyz"), 3);
}

TEST_F(LibraryChannel, ASubscriberThatTakesNothingInIsDisconnected) {
    const simhost::FileDescriptor deaf =
        simhost::connectTo(root() + "/run/simhost/library.sock", SOCK_SEQPACKET);
    using simhost::LibraryMessage;
    using Type = simhost::LibraryMessageType;
    ASSERT_TRUE(simhost::sendPacket(deaf.get(), LibraryMessage{Type::subscription, 1, 0, ""}.encode()));
    ASSERT_TRUE(simhost::receivePacket(deaf.get(), 100));
    library->request(echo, "");  // a connection of its own
    const std::string many = fourBytes(300000);
    while (hostState()["libraryConnections"].asInt() == 2) ASSERT_EQ(library->request(postEvents, many), 0);
    EXPECT_EQ(hostState()["libraryConnections"].asInt(), 1);
}

TEST_F(LibraryChannel, TheWireFormIsPinnedToTheByte) {
    using simhost::LibraryMessage;
    using Type = simhost::LibraryMessageType;
    EXPECT_EQ((LibraryMessage{Type::request, 0x11121314, 0x21222324, "ab"}.encode()),
              "\x01\x14\x13\x12\x11\x24\x23\x22\x21"
              "ab");
    EXPECT_EQ((LibraryMessage{Type::event, 0, 7, ""}.encode()), std::string("\x04\0\0\0\0\x07\0\0\0", 9));
}

TEST_F(LibraryChannel, AStandInExportsItsEntryPointsAlone) {
    EXPECT_TRUE(library->exports("test_request"));
    EXPECT_FALSE(
        library->exports("_ZN7simhost10sendPacketEiRKNSt7__cxx1112basic_stringIcSt11char_traitsIcE"
                         "SaIcEEEi"));
    EXPECT_FALSE(library->exports("_ZN7simhost13LibraryEvents4stopEv"));
}

}  // namespace
}  // namespace LibraryChannelTest
