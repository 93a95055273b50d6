#include "platform/utility/tavomend_status_record.h"
