#include "platform/utility/tavomend_logger.h"
