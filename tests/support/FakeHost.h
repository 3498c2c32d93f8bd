// A host for unit tests, composed of parts.
//
//     FakeHost host;                                   // from now on the process's host
//     host.root.writeFile("/etc/fstab", "");           // its files lie in a temporary directory
//     auto& clock = host.part<FakeClock>();            // each host has one part of each kind named below,
//     clock.set(1700000000);                           // with usable defaults
//     auto& ipmi = host.add<FakeIpmi>("/dev/ipmi0");   // devices are added; without one there is no node
//     ipmi.answer({{0x00, 0x01}});
//     host.add<SlowNetwork>();                         // a class derived from a kind replaces the plain part
//
// A test includes the headers of the parts that it names and no others. Nothing waits in real time, and each
// part records its requests. When `host` is destroyed, expected rows of a part that were not used fail the
// test; the host itself stays installed until another one replaces it or the process ends.
// Not for tests of the seam, which use the kernel's own implementation, nor for tests of the whole daemon,
// which run on a simulated host.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "support/TemporaryDirectory.h"

class FakeClock;
class FakeCommands;
class FakeDevice;
class FakeFiles;
class FakeLibraries;
class FakeNetwork;
class FakeSystem;
class FakeSystemLog;
class FakeThreads;

// The parts of a host; shared by the test and the access that the agent uses.
struct FakeHostParts {
    FakeHostParts();
    ~FakeHostParts();

    std::tuple<std::unique_ptr<FakeFiles>, std::unique_ptr<FakeClock>, std::unique_ptr<FakeCommands>,
               std::unique_ptr<FakeLibraries>, std::unique_ptr<FakeNetwork>, std::unique_ptr<FakeSystem>,
               std::unique_ptr<FakeSystemLog>, std::unique_ptr<FakeThreads>>
        kinds;
    std::map<std::string, std::unique_ptr<FakeDevice>> devices;  // by their path on the host
};

class FakeHost {
    std::shared_ptr<FakeHostParts> parts_;

public:
    // Installs a host with plain parts and without devices.
    FakeHost();
    FakeHost(FakeHost&&) = default;
    ~FakeHost();

    // The host's part of this kind.
    template <typename Kind>
    Kind& part() const {
        return *std::get<std::unique_ptr<Kind>>(parts_->kinds);
    }

    // Constructs a part from the arguments and replaces the plain one by it, or adds a device at its path.
    // Called before the agent uses the part and before the test has a reference to the plain one.
    template <typename Part, typename... Arguments>
    Part& add(Arguments&&... arguments) const {
        auto owned = std::make_unique<Part>(std::forward<Arguments>(arguments)...);
        Part& added = *owned;
        if constexpr (std::is_base_of_v<FakeDevice, Part>)
            parts_->devices[added.path()] = std::move(owned);
        else
            replace(std::move(owned), parts_->kinds);
        return added;
    }

    // The host path of an absolute path of the agent.
    std::string path(const std::string& absolute) const;

    const TemporaryDirectory& root;

private:
    template <typename Part, typename... Kinds>
    static void replace(std::unique_ptr<Part> part, std::tuple<std::unique_ptr<Kinds>...>& kinds) {
        static_assert((std::is_base_of_v<Kinds, Part> || ...), "neither a device nor a kind of part");
        (replaceIfOfKind(part, std::get<std::unique_ptr<Kinds>>(kinds)), ...);
    }
    template <typename Part, typename Kind>
    static void replaceIfOfKind(std::unique_ptr<Part>& part, std::unique_ptr<Kind>& current) {
        if constexpr (std::is_base_of_v<Kind, Part>) current = std::move(part);
    }
};
