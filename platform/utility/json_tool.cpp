#include "platform/utility/json_tool.h"
