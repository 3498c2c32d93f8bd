// What the statuses of a remote command mean, as the log tells them.
#pragma once

#include <cstddef>
#include <string>

// The failure line for a command that the controller did not take: `transferStatus` and `exitStatus` as
// it answered them, `argumentLength` the length of the argument text in bytes.
std::string vokTransferFailureText(unsigned char transferStatus, unsigned char exitStatus,
                                   std::size_t argumentLength);

// The failure line for a command during which an IPMI exchange failed.
std::string vokExchangeFailureText(unsigned char transferStatus);
