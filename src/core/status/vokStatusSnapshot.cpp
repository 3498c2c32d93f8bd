#include "core/status/vokStatusSnapshot.h"

#include "core/status/vokOwnFile.h"
#include "core/status/vokStatusFile.h"
#include "core/status/vokStatusReader.h"

std::optional<vokStatusSnapshot> vokReadStatus(std::string& reason) {
    const vokOwnedDescriptor file = vokOpenStatusFile(reason);
    if (!file) return std::nullopt;
    const auto read = [&file](void* bytes, std::size_t size) {
        return vokReadAll(file.get(), bytes, size, 0);
    };
    std::optional<vokStatusSnapshot> status = vokAssembleStatus(read, reason);
    if (status) status->isRunning = vokIsStatusHeld(file.get());
    return status;
}
