#pragma once

#if defined(PLATFORM_BUILDING)
#define PLATFORM_API __attribute__((visibility("default")))
#else
#define PLATFORM_API
#endif
