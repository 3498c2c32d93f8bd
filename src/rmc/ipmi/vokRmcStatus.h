// The log texts for the statuses of a remote command.
#pragma once

#include <cstddef>
#include <string>

// The meaning of a transfer status.
const char* vokTransferStatusMeaning(unsigned char transferStatus);

// The failure line for a command that the controller refused. `transferStatus` and `exitStatus` are those
// of its answer, `argumentLength` is the length of the argument text in bytes.
std::string vokTransferFailureText(unsigned char transferStatus, unsigned char exitStatus,
                                   std::size_t argumentLength);

// The failure line for a command during which an IPMI exchange failed.
std::string vokExchangeFailureText(unsigned char transferStatus);
