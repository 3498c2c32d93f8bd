#include "storage/scsi/scsi_info.h"

#include "storage/scsi/vokScsiQuestion.h"

const char* const SCSI_Protocol_Identifiers[16] = {
    "Fibre Channel",       // 0
    "Parallel SCSI",       // 1
    "SSA",                 // 2
    "IEEE 1394",           // 3
    "SCSI RDMA Protocol",  // 4
    "iSCSI",               // 5
    "SAS",                 // 6
    "ADT",                 // 7
    "ATA",                 // 8
    "UAS",                 // 9
    "SOP",                 // 10
    "0xb",                 // reserved
    "0xc",                 // reserved
    "0xd",                 // reserved
    "0xe",                 // reserved
    "0xf",                 // no specific protocol
};

int process_scsi_completion(const sg_io_hdr_t* header, std::size_t* received, const char* functionName) {
    return vokJudgeScsiReply(vokReadScsiCompletion(*header), *received, functionName);
}
