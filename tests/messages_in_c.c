// The header that C programs on the camera include compiles by itself, as C11.
#include "command_messages.h"
