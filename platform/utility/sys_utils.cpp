#include "platform/utility/sys_utils.h"
