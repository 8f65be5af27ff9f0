// All of the platform.
#pragma once

#include "platform/Database.h"
#include "platform/Errors.h"
#include "platform/Files.h"
#include "platform/Kernel.h"
#include "platform/Locale.h"
#include "platform/Registry.h"
#include "platform/Runtime.h"
#include "platform/SyncProvider.h"
#include "platform/Time.h"
#include "platform/Types.h"
#include "platform/Window.h"
