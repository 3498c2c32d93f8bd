// A host on which nothing is installed, for this process and the programs that it starts: "/" becomes a new
// tree in memory with the machine's programs in it, read-only, and nothing of the machine's /etc, /opt,
// /scratch, /run or /var. It needs a mount namespace, and so root.
#pragma once

#include <string>
#include <vector>

class FreshHost {
public:
    // Bind-mounts these directories of the machine in the tree, at the same paths and writable.
    explicit FreshHost(const std::vector<std::string>& directories);
    // Returns to the machine's own tree.
    ~FreshHost();
    FreshHost(const FreshHost&) = delete;
    FreshHost& operator=(const FreshHost&) = delete;

    // Why this process can't have a mount namespace; empty if it can.
    static std::string reasonAgainst();

private:
    void build(const std::vector<std::string>& directories);

    int machineRoot_ = -1;
    int machineMounts_ = -1;
    std::string tree_;  // on the machine; empty for it
};

// mount(8) without options: `source` appears at the directory or file `target`, which is made if it is
// missing.
void bindMount(const std::string& source, const std::string& target, bool readOnly = false);
// A new file system in memory at the directory `target`, with room for so many KiB.
void mountMemory(const std::string& target, int kibibytes, bool readOnly = false);
