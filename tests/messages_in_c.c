#include "command_messages.h" /* as C programs on the camera do */
