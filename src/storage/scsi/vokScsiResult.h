// Why a question to a disk has no answer: the negative results of the functions of scsi_info.h.
#pragma once

enum VOK_SCSI_RESULT : int {
    VOK_SCSI_WRONG_REPLY = -1,  // another page; of is_unit_smart() and is_unit_ssd(): the ioctl failed
    VOK_SCSI_IOCTL_FAILED = -2,
    VOK_SCSI_COMMAND_FAILED = -3,
    VOK_SCSI_REPLY_TOO_SHORT = -4,
    VOK_SCSI_OUT_OF_MEMORY = -6,
    VOK_SCSI_ILLEGAL_REQUEST = -7,  // sense key 5: the disk does not have what was asked for
    VOK_SCSI_ABORTED_COMMAND = -9,  // sense key 11
};
