#include "platform/utility/file_utils.h"
