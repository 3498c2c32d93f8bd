// The text of an event on its way to the management controller.
#pragma once

#include <json/value.h>
#include <string>

// `document` in one line: no indentation, no final newline, no comments, members sorted by key. All ASCII:
// what lies beyond is written as \u escapes, and bytes that are no UTF-8 as U+FFFD, so that the text is
// valid JSON whatever the strings hold.
std::string vokEventText(const Json::Value& document);
