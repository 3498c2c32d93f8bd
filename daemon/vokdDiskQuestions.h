// The questions of --probe-disk: a row for each answer of the functions of scsi_info.h that ask one disk. The
// CSMI calls are not among them, as they ask the driver of a controller.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "storage/scsi/vokScsiQuestion.h"

// The disk that is asked.
struct vokdProbedDisk {
    int descriptor = -1;
    std::string entry;  // in /sys/class/scsi_device, such as "0:0:1:0"; empty if it has none
    std::string block;  // "sda"; empty without a block device
};

// Replies that answer several rows, so that each is requested once.
class vokdDiskReplies {
public:
    struct Reply {
        int code = 0;
        vokScsiOutcome outcome;
        std::vector<unsigned char> bytes;  // empty without an answer
    };

    explicit vokdDiskReplies(const vokdProbedDisk& disk) : disk_(disk) {}

    const vokdProbedDisk& disk() const { return disk_; }
    const char* entry() const { return disk_.entry.c_str(); }
    int fd() const { return disk_.descriptor; }

    const Reply& inquiry();             // the standard data
    const Reply& temperature();         // log page 0Dh
    const Reply& identify();            // ATA IDENTIFY DEVICE
    const Reply& statistics(int page);  // of the ATA Device Statistics log

private:
    using Ask = Reply (*)(int fd, int page);
    const Reply& kept(int key, Ask ask, int page = 0);

    const vokdProbedDisk& disk_;
    std::map<int, Reply> replies_;
};

struct vokdDiskAnswer {
    bool isThere;
    std::string text;  // with its unit; otherwise why there is no answer
};

struct vokdDiskQuestion {
    const char* name;
    const char* source;  // the attribute, page or command
    vokdDiskAnswer (*ask)(vokdDiskReplies&);
};

// A part of the report. Those of sysfs send nothing to the disk.
struct vokdDiskQuestions {
    const char* title;
    bool isOfSysfs;
    const vokdDiskQuestion* rows;
    std::size_t count;

    const vokdDiskQuestion* begin() const { return rows; }
    const vokdDiskQuestion* end() const { return rows + count; }
};
extern const vokdDiskQuestions vokdAllDiskQuestions[3];
