// The client as a user runs it: the real program, against the real server in the test's process.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <filesystem>
#include <functional>

#include "events/EventsFixture.h"

// The outcome of a run.
struct ClientResult {
    int exitStatus = -1;  // -1 when a signal ended it
    int signal = 0;
    std::string out;
    std::string err;
};

class vokcliFixture : public ServerFixture {
protected:
    // Starts the client; `inChild` runs in its process before it becomes the client.
    pid_t start(std::vector<std::string> arguments, const std::string& input = "",
                const std::function<void()>& inChild = nullptr) {
        arguments.insert(arguments.begin(), {VOKCLI, "--host-root", host.root.path()});
        host.root.writeFile("/run/in", input);
        std::vector<char*> argv;
        for (std::string& each : arguments) argv.push_back(each.data());
        argv.push_back(nullptr);
        const std::string in = hostPath("/run/in");
        const std::string out = hostPath("/run/out");
        const std::string err = hostPath("/run/err");
        const pid_t child = ::fork();
        if (child != 0) return child;
        const int created = O_WRONLY | O_CREAT | O_TRUNC;
        ::dup2(::open(in.c_str(), O_RDONLY), 0);
        ::dup2(::open(out.c_str(), created, 0644), 1);
        ::dup2(::open(err.c_str(), created, 0644), 2);
        if (inChild) inChild();
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }

    ClientResult end(pid_t child) {
        int status = 0;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        ClientResult result;
        if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
        result.out = host.root.readFile("/run/out");
        result.err = host.root.readFile("/run/err");
        return result;
    }

    ClientResult run(const std::vector<std::string>& arguments, const std::string& input = "",
                     const std::function<void()>& inChild = nullptr) {
        return end(start(arguments, input, inChild));
    }

    // Returns when the server is ready.
    void startAgent() {
        startServer();
        waitUntil([this] { return count(log(), "INFO VOK_SERVER", "VOK Server Thread started") == 1; },
                  "the start");
    }

    // The names in /var/run that are pipes of clients.
    std::vector<std::string> clientPipes() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(hostPath("/var/run")))
            if (entry.path().filename().string().rfind("mevvokcli", 0) == 0)
                names.push_back(entry.path().filename());
        return names;
    }

    // An agent that is only a pipe: accepts requests and does not answer.
    vokOwnedDescriptor muteAgent() {
        EXPECT_EQ(::mkfifo(hostPath("/var/run/mevvok").c_str(), 0600), 0);
        return vokOwnedDescriptor(
            ::open(hostPath("/var/run/mevvok").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }

    // Waits for a request at a mute agent.
    static _VOK_MESSAGE_PACKET takeRequest(const vokOwnedDescriptor& agent) {
        _VOK_MESSAGE_PACKET request{};
        waitUntil([&] { return ::read(agent.get(), &request, sizeof(request)) == sizeof(request); },
                  "the request");
        return request;
    }
};
