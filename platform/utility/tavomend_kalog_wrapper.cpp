#include "platform/utility/tavomend_kalog_wrapper.h"
