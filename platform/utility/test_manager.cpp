#include "platform/utility/test_manager.h"
