#ifndef VEXAMGR_MANAGER_HARDWARE_ADDRESS_H
#define VEXAMGR_MANAGER_HARDWARE_ADDRESS_H

#include <string>

// Appends the hardware address of eth0 to *address, as twelve upper-case hexadecimal digits.
// Returns 0, or logs the call that failed and returns -1 with *address unchanged. See netdevice(7).
// For an integrator who wants it as the camera's serial number, which is empty as it stands.
int net_get_hwaddr(std::string* address);

#endif
