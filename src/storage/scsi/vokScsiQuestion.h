// A question to a disk: one row that names the command, the length of its reply and what the log calls it;
// and the one function that asks it. Each function of scsi_info.h that sends a command is a row and the
// reading of its reply.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/access/vokScsi.h"

struct vokScsiQuestion {
    // `askedBy`: the function, for the log. `transferred`, `needed`: bytes requested, and the least number
    // that the reading needs.
    constexpr vokScsiQuestion(const char* askedBy, const char* named, const vokScsiCommand& sent,
                              std::size_t transferred, std::size_t needed)
        : function(askedBy), name(named), command(sent), transfer(transferred), minimum(needed) {}

    constexpr vokScsiQuestion within(unsigned milliseconds) const {
        vokScsiQuestion question = *this;
        question.timeoutMilliseconds = milliseconds;
        return question;
    }
    // For a question whose failures are not logged as "IOCTL for NAME failed." and "NAME command failed.".
    constexpr vokScsiQuestion logged(const char* requestPhrase, const char* commandPhrase) const {
        vokScsiQuestion question = *this;
        question.requestText = requestPhrase;
        question.commandText = commandPhrase;
        return question;
    }

    const char* function;
    const char* name;
    vokScsiCommand command;
    std::size_t transfer;
    std::size_t minimum;
    unsigned timeoutMilliseconds = 60000;
    const char* requestText = nullptr;  // the subject of "... failed." after the ioctl failed
    const char* commandText = nullptr;  // the same after the command failed
};

struct vokScsiAnswer {
    int code = 0;              // 0, or a VOK_SCSI_RESULT
    std::size_t received = 0;  // bytes
    unsigned char status = 0;  // of SAM-5, if the command was sent
};

// Sends the command of `question` once and judges its completion; the reply goes to `data`, which has room
// for the transfer and is 0 where nothing was received. A failure and a reply below the minimum are logged.
vokScsiAnswer vokAskDisk(int descriptor, const vokScsiQuestion& question, unsigned char* data);

// Whether `received` bytes are enough; logs it if they are not.
bool vokIsScsiReplyLongEnough(const vokScsiQuestion& question, std::size_t received, std::size_t minimum);

// How the last question of this thread ended, for a program that shows it: the functions of scsi_info.h
// return less than the driver reported, or only null. Kept like errno, and cleared by vokClearScsiOutcome().
struct vokScsiOutcome {
    int code = 0;            // 0 also if the reply was not what the function wanted, or nothing was asked
    std::size_t needed = 0;  // with VOK_SCSI_REPLY_TOO_SHORT: the bytes that the reading needs
    vokScsiReply reply = {};
};
const vokScsiOutcome& vokLastScsiOutcome();
void vokClearScsiOutcome();

// The steps of process_scsi_completion() after the header has been read.
int vokJudgeScsiReply(const vokScsiReply& reply, std::size_t& received, const char* function);

// The reply of one disk to one question. Bytes that were not received are 0.
class vokScsiPage {
public:
    static constexpr std::size_t longest = 4096;

    vokScsiPage(int descriptor, const vokScsiQuestion& question)
        : question_(question), answer_(vokAskDisk(descriptor, question, bytes_.data())) {}

    int code() const { return answer_.code; }
    bool failed() const { return answer_.code < 0; }
    std::size_t received() const { return answer_.received; }
    unsigned char status() const { return answer_.status; }
    const unsigned char* bytes() const { return bytes_.data(); }

    // For a minimum that depends on the reply itself.
    bool hasAtLeast(std::size_t minimum) const {
        return vokIsScsiReplyLongEnough(question_, answer_.received, minimum);
    }

    unsigned operator[](std::size_t at) const { return at < bytes_.size() ? bytes_[at] : 0; }
    // Most significant byte first.
    std::uint64_t number(std::size_t at, std::size_t size) const {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) value = value << 8 | (*this)[at + i];
        return value;
    }
    int word(std::size_t at) const { return static_cast<int>(number(at, 2)); }

private:
    vokScsiQuestion question_;
    std::array<unsigned char, longest> bytes_{};
    vokScsiAnswer answer_;
};

// `size` bytes in malloc()ed memory of `room` bytes, at least one more than `size` for a text; the rest of it
// is 0. Null without memory.
void* vokScsiCopy(const void* bytes, std::size_t size, std::size_t room);
// The `size` characters and a NUL.
char* vokScsiText(const unsigned char* characters, std::size_t size);
