// A file that others read while it is written anew.
#pragma once

#include <string>

// Replaces `file` by one with `content` and mode 0644, whatever the umask is: a reader sees the old content
// or the new one, and a failure leaves the old one. False with errno.
bool vokReplaceFile(const std::string& file, const std::string& content);
