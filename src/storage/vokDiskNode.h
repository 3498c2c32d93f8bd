// The SCSI generic node of a disk: opening it, and what the log says of nodes that can't be opened.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/access/vokDevice.h"

// Opens the node for requests; an interrupted attempt is repeated. On failure it is not open and errno is
// set.
vokDevice vokOpenDiskNode(const std::string& path);

// True for the errors of a node whose disk has left: ENXIO and ENODEV.
bool vokIsDiskGone(int error);

// The disks, by their SCSI link, whose node is there and can't be opened. A poll asks again and again: the
// cause is a warning once, until the disk could be opened or fails with another error.
class vokDiskOpenFailures {
public:
    // Logs that `path` can't be opened and what follows from it; a disk that has left at the debug level.
    void report(const std::string& scsiLink, const std::string& path, int error, const char* consequence);
    void forget(const std::string& scsiLink) { errors_.erase(scsiLink); }
    void forgetAllBut(const std::vector<std::string>& scsiLinks);

private:
    bool isNew(const std::string& scsiLink, int error);

    std::map<std::string, int> errors_;
};
