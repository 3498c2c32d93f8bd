#include "storage/vokDiskNode.h"

#include <fcntl.h>
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "core/base/vokLog.h"

vokDevice vokOpenDiskNode(const std::string& path) {
    for (;;) {
        vokDevice node(path, O_RDWR | O_NONBLOCK);
        if (node || errno != EINTR) return node;
    }
}

bool vokIsDiskGone(int error) {
    return error == ENXIO || error == ENODEV;
}

void vokDiskOpenFailures::report(const std::string& scsiLink, const std::string& path, int error,
                                 const char* consequence) {
    const std::string line =
        scsiLink + ": Unable to open " + path + ": (-1 " + std::to_string(error) + "). " + consequence;
    if (isNew(scsiLink, error))
        VOK_LOG_WARNING("STOR_CTLR", "%s", line.c_str());
    else
        VOK_LOG_DEBUG("STOR_CTLR", "%s", line.c_str());
}

bool vokDiskOpenFailures::isNew(const std::string& scsiLink, int error) {
    if (vokIsDiskGone(error)) {
        forget(scsiLink);
        return false;
    }
    const auto [known, inserted] = errors_.try_emplace(scsiLink, error);
    return inserted || std::exchange(known->second, error) != error;
}

void vokDiskOpenFailures::forgetAllBut(const std::vector<std::string>& scsiLinks) {
    for (auto each = errors_.begin(); each != errors_.end();) {
        const bool isKept = std::find(scsiLinks.begin(), scsiLinks.end(), each->first) != scsiLinks.end();
        each = isKept ? std::next(each) : errors_.erase(each);
    }
}
