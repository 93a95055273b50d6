#include "platform/utility/event_manager.h"
