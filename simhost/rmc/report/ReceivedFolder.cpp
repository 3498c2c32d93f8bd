#include "rmc/report/ReceivedFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "common/FileDescriptor.h"
#include "rmc/JsonMembers.h"
#include "rmc/Keeper.h"
#include "rmc/report/Html.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

constexpr std::size_t mostDigits = 9;

struct FileEnd {
    std::string text;
    bool isWhole = true;  // not cut at its begin
};

// The last `most` bytes. Only a regular file: a pipe would block, and a link might lead out of the directory.
std::optional<FileEnd> readEnd(const std::string& file, std::size_t most,
                               std::vector<std::string>& problems) {
    const FileDescriptor opened(
        ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW | O_NONBLOCK));
    if (!opened && errno == ENOENT) return std::nullopt;
    struct stat status {};
    const std::string name = fs::path(file).filename().string();
    if (!opened || ::fstat(opened.get(), &status) != 0) {
        problems.push_back(name + " can't be read: " + std::generic_category().message(errno));
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        problems.push_back(name + " is not a regular file");
        return std::nullopt;
    }
    FileEnd end;
    const auto size = static_cast<std::uint64_t>(status.st_size);
    end.isWhole = size <= most;
    off_t at = end.isWhole ? 0 : static_cast<off_t>(size - most);
    char buffer[1 << 16];
    while (end.text.size() < most) {
        const ssize_t count =
            ::pread(opened.get(), buffer, std::min(sizeof(buffer), most - end.text.size()), at);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) problems.push_back(name + " can't be read: " + std::generic_category().message(errno));
        if (count <= 0) break;
        end.text.append(buffer, static_cast<std::size_t>(count));
        at += count;
    }
    return end;
}

// The whole lines, the newest `mostLines` of them. A last line without its newline is still being written, or
// was cut off when its writer died.
std::vector<std::string> readLines(const std::string& file, std::vector<std::string>& problems) {
    std::vector<std::string> lines;
    const auto end = readEnd(file, mostLineBytes, problems);
    if (!end) return lines;
    const std::string name = fs::path(file).filename().string();
    std::size_t at = end->isWhole ? 0 : end->text.find('\n') + 1;  // npos + 1 is 0: one very long line
    for (std::size_t newline; (newline = end->text.find('\n', at)) != std::string::npos; at = newline + 1)
        lines.push_back(end->text.substr(at, newline - at));
    if (at < end->text.size()) problems.push_back("The last line of " + name + " is not complete");
    if (!end->isWhole || lines.size() > mostLines)
        problems.push_back(name + " is long: only its last " +
                           std::to_string(std::min(lines.size(), mostLines)) + " lines are shown");
    if (lines.size() > mostLines)
        lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(mostLines));
    return lines;
}

std::vector<Json::Value> readObjects(const std::string& file, std::vector<std::string>& problems) {
    std::vector<Json::Value> objects;
    std::size_t unreadable = 0;
    for (const auto& line : readLines(file, problems)) {
        Json::Value value = parsedJson(line);
        if (value.isObject())
            objects.push_back(std::move(value));
        else
            ++unreadable;
    }
    if (unreadable > 0)
        problems.push_back(counted(unreadable, "line", "lines") + " of " +
                           fs::path(file).filename().string() + (unreadable == 1 ? " is" : " are") +
                           " not a JSON object");
    return objects;
}

// The number in "inventory-0012.json"; nothing for any other name, as that of a file that is being written.
std::optional<unsigned long> inventoryNumber(const std::string& name) {
    const std::string begin = "inventory-";
    const std::string end = ".json";
    if (name.size() <= begin.size() + end.size() || name.compare(0, begin.size(), begin) != 0 ||
        name.compare(name.size() - end.size(), end.size(), end) != 0)
        return std::nullopt;
    const std::string digits = name.substr(begin.size(), name.size() - begin.size() - end.size());
    if (digits.size() > mostDigits || digits.find_first_not_of("0123456789") != std::string::npos)
        return std::nullopt;
    return std::stoul(digits);
}

bool isControllersFile(const std::string& name) {
    for (const char* own : {Keeper::eventsFile, Keeper::transfersFile, Keeper::violationsFile,
                            Keeper::shortPayloadsFile, Keeper::controlSocketFile})
        if (name == own) return true;
    return inventoryNumber(name).has_value();
}

// The names of the inventories by number. Throws unless the directory is a controller's.
std::map<unsigned long, std::string> inventoryNames(const std::string& path) {
    std::map<unsigned long, std::string> names;
    bool isControllers = false;
    for (const auto& entry : fs::directory_iterator(path)) {
        const std::string name = entry.path().filename().string();
        isControllers = isControllers || isControllersFile(name);
        if (const auto number = inventoryNumber(name)) names[*number] = name;
    }
    if (!isControllers)
        throw std::runtime_error(path + ": holds no file of \"vok-rmc run --out " + path +
                                 "\", such as inventory-0001.json or events.jsonl");
    return names;
}

void readInventories(ReceivedFolder& folder, const std::map<unsigned long, std::string>& names) {
    std::size_t bytes = 0;
    for (auto each = names.rbegin(); each != names.rend(); ++each) {
        if (folder.inventories.size() == mostInventories || bytes >= mostInventoryBytes) {
            folder.problems.push_back("Of " + std::to_string(names.size()) + " inventories only the last " +
                                      std::to_string(folder.inventories.size()) + " are shown");
            break;
        }
        ReceivedInventory inventory;
        inventory.number = each->first;
        inventory.file = each->second;
        const auto content = readEnd(folder.path + "/" + each->second, mostInventoryBytes, folder.problems);
        if (!content) continue;
        inventory.bytes = content->text.size();
        bytes += inventory.bytes;
        inventory.document = parsedJson(content->text);
        if (!member(inventory.document, {"HostDataCollection"}).isObject()) {
            folder.problems.push_back(each->second + " is not an inventory");
            inventory.document = Json::Value();
        }
        folder.inventories.push_back(std::move(inventory));
    }
    std::reverse(folder.inventories.begin(), folder.inventories.end());
}

}  // namespace

const ReceivedInventory* ReceivedFolder::newest() const {
    for (auto each = inventories.rbegin(); each != inventories.rend(); ++each)
        if (!each->document.isNull()) return &*each;
    return nullptr;
}

ReceivedFolder readFolder(const std::string& path) {
    ReceivedFolder folder;
    folder.path = path;
    readInventories(folder, inventoryNames(path));
    folder.events = readObjects(path + "/" + Keeper::eventsFile, folder.problems);
    folder.transfers = readObjects(path + "/" + Keeper::transfersFile, folder.problems);
    folder.violations = readLines(path + "/" + Keeper::violationsFile, folder.problems);
    return folder;
}

}  // namespace simhost
