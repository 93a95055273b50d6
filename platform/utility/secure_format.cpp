#include "platform/utility/secure_format.h"
