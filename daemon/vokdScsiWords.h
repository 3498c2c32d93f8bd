// Numbers of the SCSI standards in words, for a report.
#pragma once

#include <cstddef>
#include <string>

struct vokScsiOutcome;

// Of printf(3); at most 159 characters.
std::string vokdFormatted(const char* format, ...) __attribute__((format(printf, 1, 2)));

// "14: simplified direct-access device" (SPC-5).
std::string vokdPeripheralTypeText(unsigned type);
// The text without the blanks around it, for a terminal: what is not printing ASCII is a dot. "(blank)" if
// nothing is left.
std::string vokdPrintable(const char* text, std::size_t size);
std::string vokdPrintable(const std::string& text);
// Why a question has no answer: "VOK_SCSI_ILLEGAL_REQUEST: sense key 5h (ILLEGAL REQUEST), ASC/ASCQ 20h/00h".
// `code`: what the function returned, which counts if the command itself succeeded.
std::string vokdNoAnswerText(const vokScsiOutcome& outcome, int code);
