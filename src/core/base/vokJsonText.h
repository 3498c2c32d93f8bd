// The text of a JSON document on its way to the management controller. Strings come from firmware, disks
// and clients, and may hold any bytes; the text is valid JSON all the same.
#pragma once

#include <json/value.h>
#include <string>

// `value` in one line: no indentation, no final newline, no comments, members sorted by key. All ASCII:
// characters beyond it are written as \u escapes, and each byte that belongs to no character as U+FFFD.
std::string vokJsonText(const Json::Value& value);

// The index of the first byte of `text` that belongs to no character of UTF-8, or std::string::npos.
std::size_t vokFirstInvalidByte(const std::string& text);
