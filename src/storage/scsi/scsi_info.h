// One question to one disk at a time: by SCSI commands on an open descriptor of a SCSI generic node, by the
// attributes of its entry in /sys/class/scsi_device, and by CSMI requests to the node of a driver. Nothing is
// kept or repeated, and no descriptor is opened or closed except by the CSMI calls. Failures are logged at
// the debug level.
//
// Functions with an integer result return a VOK_SCSI_RESULT on failure. A pointer is to malloc()ed memory,
// which the caller frees, best with vokMallocPtr; it is null on any failure. Texts end with a NUL. Bytes that
// a disk did not send read as 0.
#pragma once

#include <dirent.h>
#include <scsi/sg.h>
#include <cstddef>

#include "storage/scsi/vokScsiResult.h"

// The names of the protocol identifiers (SPC-5). The last five are reserved, or no protocol (0xf).
extern const char* const SCSI_Protocol_Identifiers[16];

// Judges a request that the driver has completed. Returns 0 with the number of transferred bytes in
// `*received`; on failure VOK_SCSI_COMMAND_FAILED, or the code of its sense key and then 0 in `*received`.
int process_scsi_completion(const sg_io_hdr_t* header, std::size_t* received, const char* functionName);

// --- log pages (LOG SENSE; SPC-5, SBC-4) ---

// The temperature page (0Dh), at least 16 bytes, for the two readers after it.
unsigned char* get_sas_temp(int fd);
// The temperature and the reference temperature in degrees Celsius; 0 without the parameter. `page` has at
// least 16 bytes.
int sas_parse_current(const unsigned char* page);
int sas_parse_mcot(const unsigned char* page);
// The worn percentage of a solid-state disk (page 11h); 255 from another page.
int get_sas_ssd_wear(int fd);
// Hours with power (page 15h, background scan, which counts minutes).
int get_sas_pwron(int fd);
// Of the informational exceptions page (2Fh): additional sense code and qualifier as two bytes, 0 for a
// healthy disk; and the most recent temperature in degrees Celsius.
int get_sas_health(int fd);
int get_unit_temp(int fd);

// --- mode pages (MODE SENSE; SPC-5) ---

// The rotation rate of page 04h (rigid disk geometry), on purpose with its two bytes exchanged.
int get_unit_speed(int fd);
// 1 if a byte of page 1Ch, found in a mode data length of 1 to 100, is 11h; otherwise 0.
int is_unit_smart(int fd);
// The protocol identifier of page 19h, an index of SCSI_Protocol_Identifiers.
int get_scsi_transport_protocol(int fd);

// --- inquiry (SPC-5, SBC-4) ---

// 1 if page B1h (block device characteristics) says that the medium does not rotate; otherwise 0.
int is_unit_ssd(int fd);
// The rotation rate of page B1h: 1 for no rotation, otherwise per minute.
int get_scsi_disk_medium_rotation_rate(int fd);
// The standard inquiry data, at least 36 bytes, with a NUL after them; for the inq_parse functions.
unsigned char* get_identify_info(int fd);
// The serial number: 20 characters of the vendor-specific part of the inquiry data; the text of page 80h
// without leading blanks.
char* get_unit_sn_from_device_inquiry(int fd);
char* get_unit_sn_from_device_vpd_pg80(int fd);

// Vendor, product and revision without the blanks around them; null for null. The additional length in byte
// 4 of `inquiry` limits what is read.
char* inq_parse_vendor(const unsigned char* inquiry);
char* inq_parse_prodID(const unsigned char* inquiry);
char* inq_parse_rev(const unsigned char* inquiry);
// The peripheral device type; 0 for null.
int inq_parse_type(const unsigned char* inquiry);

// --- capacity and defects (SBC-4) ---

// The address of the last block; 0 on failure.
unsigned long long get_disk_capacity(int fd);
// The number of grown defects, listed in `format` (0 to 7).
int get_defect_data_size(int fd, int format);

// --- ATA commands (SAT-4, ACS-4) ---

// IDENTIFY DEVICE, `size` bytes of it to `buffer`. Returns 0 with the number of received bytes in `size`.
int get_ata_identify_device_info(int fd, unsigned char* buffer, std::size_t& size);
// The firmware revision of IDENTIFY DEVICE, 8 characters.
char* get_sata_DiskRev(int fd);
// A page of the Device Statistics log (04h). Returns 0 with the received bytes in `out` and their number in
// `size`; also for a page that the disk does not support, which has zeros alone.
int get_sata_log(int fd, int page, char*& out, std::size_t& size);
int get_sata_statlog(int fd, char*& out, std::size_t& size);  // page 1
int get_sata_temp(int fd, char*& out, std::size_t& size);     // page 5
int get_sata_ssdlog(int fd, char*& out, std::size_t& size);   // page 7
// The temperature and the specified maximum operating temperature of page 5, in degrees Celsius. False if the
// page does not have it.
bool sata_parse_current(const char* page, std::size_t size, int& out);
bool sata_parse_mcot(const char* page, std::size_t size, int& out);
// The worn percentage of page 7, 0 from a short one. Bytes above 127 read as negative.
int get_sata_ssd_wear(int fd);
// Hours with power of page 1; -1 in `hours` on failure, and if the page ends before them.
int get_sata_pwron(int fd, int& hours);
// The error log index of the comprehensive SMART error log (03h), which is taken as the count of errors.
int get_sata_health(int fd);
// Log D0h. `buffer` has room for 512 bytes; `size` gets the number that was copied to it.
int get_sata_log_vpd_pgD0(int fd, unsigned char* buffer, std::size_t& size);
// The SCT status (SMART log E0h), 512 bytes.
unsigned char* get_sata_sct_stat(int fd);

// --- sysfs; `dev` is an entry of /sys/class/scsi_device, such as "0:0:1:0" ---

// Numbers that can't be read have all bits set.
unsigned int get_DiskType(const char* dev);
bool is_direct_access_block_device(const char* dev);
// As the kernel shows them, with the blanks that fill the field.
char* get_DiskModel(const char* dev);
char* get_sas_DiskRev(const char* dev);
char* get_DiskVendor(const char* dev);
char* get_DiskState(const char* dev);
// The name of the SCSI generic node, such as "sg4".
char* get_ScsiGeneric(const char* dev);
// The serial number as the disk sent it, with its blanks.
char* get_unit_sn_from_sysfs_vpd_pg80(const char* dev);
char* get_unit_sn_from_sysfs_inquiry(const char* dev);
// In blocks of 512 bytes; 0 if the disk has no block device.
unsigned long long get_BlockSize(const char* dev);
// `path` is relative to /sys/devices.
unsigned long long get_PciBlockSize(const char* path);

struct vokDurableName {
    char text[33];  // 32 hexadecimal digits, or empty
};
// The first 16 bytes of the first designator of page 83h, of a block device such as "sda". A page that ends
// before them, but after its header, is padded with 0.
vokDurableName get_durableName_from_block_vpd_pg83(const char* block);

// Filters for scandir(3): names of block devices and of SCSI generic nodes, in the form of old kernels
// ("block:sda") and of today's ("sda").
int sd_select(const struct dirent* entry);
int generic_select(const struct dirent* entry);

// --- CSMI, on the control node `path` of a driver ---

// Each of the four counts controllers from the first `controller` that it was ever called with.
// The first three return the whole buffer of 16384 bytes, in which the reply follows a header of 20 bytes.
unsigned char* SasGetHbaConfig(int controller, const char* path);
// `sasAddressText`: 16 hexadecimal digits.
unsigned char* SasGetScsiAddress(int controller, const char* path, const char* sasAddressText);
unsigned char* SasGetHbaConnector(int controller, const char* path);
// 1, or 0 on failure.
int SasGetLocation(int controller, const char* path, unsigned char phy, unsigned char port,
                   unsigned char pathId, unsigned char targetId);
