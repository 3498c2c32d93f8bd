#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>

#include "core/base/vokLog.h"
#include "platform/access/vokCommandStream.h"
#include "platform/access/vokHostAccess.h"
#include "platform/utils/vokCommandOutcome.h"
#include "platform/utils/vokExpression.h"
#include "platform/utils/vokUtils.h"
#include "platform/utils/vokVmwareOSInterface.h"

namespace {

constexpr std::size_t lineBuffer = 512;
// More than any command of a host prints; limits the memory that a runaway command can take.
constexpr std::size_t maxOutputSize = 16 * 1024 * 1024;

// The output of a command in the form of executeEsxiCommandAndFetchOutput(). `failureOf` judges its wait
// status.
std::string fetchOutput(const std::string& command, std::string (*failureOf)(int status, int error)) {
    VOK_LOG_DEBUG("VOK_UTILS", "command =%s", command.c_str());
    vokCommandStream stream(command);
    if (!stream) {
        const int reason = errno;
        VOK_LOG_ERROR("VOK_UTILS", "Error(%s) occurred while executing command : %s", std::strerror(reason),
                      command.c_str());
        vokReportCommand("VOK_UTILS", command, vokCommandFailure(-1, reason));
        return "";
    }
    std::string output;
    char buffer[lineBuffer];
    // A piece that is only a newline is kept: trimming leaves a text of one character unchanged.
    while (std::fgets(buffer, sizeof(buffer), stream.get())) {
        std::string piece = buffer;
        std::string trimmed;
        vokUtils::trimLeadingTrailingSpaces(piece, trimmed);
        if (output.size() + trimmed.size() >= maxOutputSize) {
            VOK_LOG_WARNING("VOK_UTILS", "Output is cut at %zu bytes : %s", output.size(), command.c_str());
            break;
        }
        output += '\t';
        output += trimmed;
    }
    const int status = stream.close();
    vokReportCommand("VOK_UTILS", command, failureOf(status, errno));
    return output;
}

// One query for two ids of a PCI function in the stored hardware list.
struct IdQuery {
    const char* grepTail;
    const char* patterns[2];
    const char* names[2];
};

constexpr IdQuery deviceQuery = {"/,/^$/' | grep -w 'Vendor ID:\\|Device ID:'",
                                 {"\tVendor ID: 0x[A-Za-z0-9]{4}", "\tDevice ID: 0x[A-Za-z0-9]{4}"},
                                 {"vendorId", "deviceId"}};
constexpr IdQuery subsystemQuery = {"/,/^$/' | grep -w 'SubVendor ID:\\|SubDevice ID:'",
                                    {"\tSubVendor ID: 0x[A-Za-z0-9]{4}", "\tSubDevice ID: 0x[A-Za-z0-9]{4}"},
                                    {"subVendorId", "subDeviceId"}};

std::pair<std::string, std::string> queryIds(const IdQuery& query, const std::string& pciAddress) {
    std::string values[2];
    if (vokUtils::isPCIAddress(pciAddress)) {
        const std::string output =
            fetchOutput("cat " + vokHostAccess().commandPath(vokVmwareOSInterface::hardwareList) +
                            " | awk '/" + pciAddress + query.grepTail,
                        vokGrepFailure);
        for (int i = 0; i < 2; ++i)
            values[i] = vokUtils::getValueByRegexFromLocalcli(output, query.patterns[i]);
    } else {
        VOK_LOG_WARNING("VOK_UTILS", "Not a PCI address, not looked up : %s", pciAddress.c_str());
    }
    for (int i = 0; i < 2; ++i)
        if (values[i].empty())
            VOK_LOG_DEBUG("VOK_UTILS", "Cound not fetch %s for %s", query.names[i], pciAddress.c_str());
    VOK_LOG_DEBUG("VOK_UTILS", "%s = %s, %s = %s", query.names[0], values[0].c_str(), query.names[1],
                  values[1].c_str());
    return {values[0], values[1]};
}

}  // namespace

std::string vokUtils::executeEsxiCommandAndFetchOutput(std::string command) {
    return fetchOutput(command, vokCommandFailure);
}

void vokUtils::trimLeadingTrailingSpaces(std::string& in, std::string& out) {
    out.clear();
    if (in.empty()) return;
    while (in.size() >= 2 && std::isspace(static_cast<unsigned char>(in.back()))) in.pop_back();
    if (in == " ") return;
    // Only blanks are removed at the front: a leading tab stays.
    const auto first = in.find_first_not_of(' ');
    if (first != std::string::npos) out = in.substr(first);
}

std::string vokUtils::getValueByRegexFromLocalcli(std::string text, std::string pattern) {
    const vokExpression expression(pattern);
    if (expression.compileResult() != 0) {
        VOK_LOG_WARNING("VOK_UTILS", "Error Compiling Regex, Return Value: %d, Error Info: %s",
                        expression.compileResult(), expression.describe(expression.compileResult()).c_str());
        return "";
    }
    regmatch_t span{};
    const int result = expression.match(text, span);
    if (result != 0) {
        VOK_LOG_DEBUG("VOK_UTILS", "Error detecting valueType : %s", expression.describe(result).c_str());
        return "";
    }
    const std::string match =
        text.substr(static_cast<std::size_t>(span.rm_so), static_cast<std::size_t>(span.rm_eo - span.rm_so));
    if (match.empty())
        VOK_LOG_WARNING("VOK_UTILS", "Issue in identifying details from localcli output : %s", text.c_str());
    // Without the colon and the blank after it. A match that lacks them has no value.
    const auto colon = match.find(':');
    return colon != std::string::npos && colon + 2 <= match.size() ? match.substr(colon + 2) : "";
}

std::pair<std::string, std::string> vokUtils::get_vendor_device(std::string pciAddress) {
    return queryIds(deviceQuery, pciAddress);
}

std::pair<std::string, std::string> vokUtils::get_subvendor_subdevice(std::string pciAddress) {
    return queryIds(subsystemQuery, pciAddress);
}

bool vokUtils::isPCIAddress(const std::string& text) {
    static constexpr char form[] = "xxxx:xx:xx.x";
    constexpr std::size_t length = sizeof(form) - 1;
    constexpr std::size_t longestSegment = 8;  // a virtual host bridge has more than four digits
    const std::size_t segment = text.find(':');
    if (segment < 4 || segment > longestSegment || text.size() != length + (segment - 4)) return false;
    if (segment > 4 && text.front() == '0') return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char expected = form[i < segment ? 0 : i - (segment - 4)];
        const bool fits =
            expected == 'x' ? std::isxdigit(static_cast<unsigned char>(text[i])) != 0 : text[i] == expected;
        if (!fits) return false;
    }
    return true;
}

bool vokUtils::isInterfaceName(const std::string& text) {
    // Not an option of a command, and no character with a harmful meaning in a shell or a regular expression.
    return !text.empty() && text.front() != '-' && std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return std::isalnum(c) || std::string_view("._:-").find(c) != std::string_view::npos;
    });
}

int vokUtils::getPCIString(std::string adapter, std::string& out) {
    if (!isInterfaceName(adapter)) {
        VOK_LOG_WARNING("VOK_UTILS", "Not an adapter name, not looked up : %s", adapter.c_str());
        return -1;
    }
    const std::string command = "localcli storage core adapter list | grep -i '" + adapter + "'";
    vokCommandStream stream(command);
    if (!stream) {
        VOK_LOG_ERROR("VOK_UTILS", "Error occurred in identifying PCI string.");
        return -1;
    }
    std::string text;
    char buffer[lineBuffer];
    while (text.size() < maxOutputSize && std::fgets(buffer, sizeof(buffer), stream.get())) text += buffer;
    const int status = stream.close();
    vokReportCommand("VOK_UTILS", command, vokGrepFailure(status, errno));
    const auto open = text.find('(');
    const auto close = text.find(')');
    // The first of each, even if the closing one comes first: the text is then empty.
    if (open != std::string::npos && close != std::string::npos)
        out = close > open ? text.substr(open + 1, close - open - 1) : "";
    return 1;
}

std::string vokUtils::getSubStr(std::string start, std::string end, std::string text) {
    const auto found = text.find(start);
    if (found == std::string::npos) return "";
    const auto from = found + start.size();
    const auto to = text.find(end, from);
    return text.substr(from, to == std::string::npos ? to : to - from);
}

std::string vokUtils::getLineFromFile(std::string path, std::string pattern) {
    std::ifstream file(vokHostAccess().path(path));
    for (std::string line; std::getline(file, line);)
        if (line.find(pattern) != std::string::npos) return line;
    return "";
}
