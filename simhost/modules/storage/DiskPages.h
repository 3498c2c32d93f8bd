// The pages and logs of a disk by name, so that a description or a control command can take one away:
// "vpd:b1", "mode:1c", "log:0d", "ata:03" for a log of the General Purpose Logging feature set, "ata:04/07"
// for a page of one, "smart:e0" for a SMART log, "identify".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "modules/storage/Disks.h"

namespace simhost {

enum class PageKind { vpd, mode, log, ata, smart };

// The name in its one form; nothing for what is none.
std::optional<std::string> pageName(const std::string& text);
std::string pageName(PageKind kind, unsigned page);
std::string ataLogPageName(unsigned log, unsigned page);
constexpr char identifyName[] = "identify";
// The forms, for a message.
std::string pageForms();

// What the disk answers: the pages that a disk of its kind has, without those that were taken away, in
// ascending order.
std::vector<unsigned> supportedPages(const Disk& disk, PageKind kind);
bool supports(const Disk& disk, PageKind kind, unsigned page);
// False if the page was taken away by name.
bool has(const Disk& disk, const std::string& name);

}  // namespace simhost
