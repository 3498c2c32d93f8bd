#include "core/platformCheck.h"

std::mutex platformCheck::platformCheckLock;
std::string platformCheck::directoryPath;
std::string platformCheck::startupFilePath;

std::string platformCheck::getDirectoryPath() {
    return filled(directoryPath);
}

std::string platformCheck::getStartupFilePath() {
    return filled(startupFilePath);
}

void platformCheck::setDirectoryPath() {
    const std::lock_guard<std::mutex> lock(platformCheckLock);
    directoryPath = "/opt/mev/vok";
    startupFilePath = "/var/tmp/mev";
}

std::string platformCheck::filled(const std::string& text) {
    {
        const std::lock_guard<std::mutex> lock(platformCheckLock);
        if (!text.empty()) return text;
    }
    setDirectoryPath();
    const std::lock_guard<std::mutex> lock(platformCheckLock);
    return text;
}
