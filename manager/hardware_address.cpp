#include "manager/hardware_address.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

int net_get_hwaddr(std::string* address) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  if (descriptor == -1) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  socket error");
    return -1;
  }
  ifreq request = {};
  strcpy(request.ifr_name, "eth0");
  if (ioctl(descriptor, SIOCGIFHWADDR, &request) == -1) {
    syslog(LOG_DAEMON | LOG_ERR, "[VexaManager]  net_get_hwaddr: ioctl SIOCGIFHWADDR");
    close(descriptor);
    return -1;
  }
  close(descriptor);
  unsigned char bytes[6];
  memcpy(bytes, request.ifr_hwaddr.sa_data, sizeof bytes);
  char digits[2 * sizeof bytes + 1];
  snprintf(digits, sizeof digits, "%02X%02X%02X%02X%02X%02X", bytes[0], bytes[1], bytes[2],
           bytes[3], bytes[4], bytes[5]);
  address->append(digits);
  return 0;
}
