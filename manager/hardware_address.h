#ifndef VEXAMGR_MANAGER_HARDWARE_ADDRESS_H
#define VEXAMGR_MANAGER_HARDWARE_ADDRESS_H

#include <string>

// Appends the hardware address of eth0 to *address, in the form "02005E10A0FF".
// Returns 0, or logs the call that failed and returns -1 with *address unchanged. See netdevice(7).
// Nothing calls this function yet. PopulateNewDatabase may use it to give the camera a serial
// number.
int net_get_hwaddr(std::string* address);

#endif
