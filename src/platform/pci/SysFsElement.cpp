#include "platform/pci/SysFsElement.h"

#include <unistd.h>
#include <climits>

#include "platform/access/vokHostAccess.h"
#include "platform/pci/vokSysfsReaders.h"

namespace {

constexpr char debugTree[] = "/kernel/debug/";

// White space, and the NULs that end some attributes.
bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r') || c == '\0';
}

}  // namespace

SysFsElement::SysFsElement(const std::string& name, const std::string& path, const struct stat& status)
    : _name(name), _path(path), _status(status) {}

SysFsElement::~SysFsElement() = default;

std::string SysFsElement::getName() const {
    return _name;
}

std::string SysFsElement::getPath() const {
    return _path;
}

std::string SysFsElement::getValueSeparator() const {
    return std::string();
}

std::string SysFsElement::getValue() const {
    return std::string();
}

SysFsAttrib::SysFsAttrib(const std::string& name, const std::string& path, const struct stat& status)
    : SysFsElement(name, path, status) {
    readData();
}

std::string SysFsAttrib::getValueSeparator() const {
    return " = ";
}

std::string SysFsAttrib::getValue() const {
    return _value;
}

void SysFsAttrib::readData() {
    _value.clear();
    if (_path.find(debugTree) == std::string::npos) _value = _makePretty(vokReadAttribute(_path.c_str()));
}

// Removes blanks at the end and replaces each other blank by a space, other unprintable bytes by a dot.
std::string SysFsAttrib::_makePretty(const std::string& text) {
    std::string pretty = text;
    while (!pretty.empty() && isBlank(pretty.back())) pretty.pop_back();
    for (char& c : pretty) {
        if (isBlank(c)) c = ' ';
        if (c < ' ' || c > '~') c = '.';
    }
    return pretty;
}

SysFsLink::SysFsLink(const std::string& name, const std::string& path, const struct stat& status)
    : SysFsElement(name, path, status) {
    char target[PATH_MAX];
    const ssize_t length = ::readlink(vokHostAccess().path(path).c_str(), target, sizeof(target) - 1);
    if (length > 0) _target.assign(target, static_cast<std::size_t>(length));
}

std::string SysFsLink::getValueSeparator() const {
    return " -> ";
}

std::string SysFsLink::getValue() const {
    return _target;
}
