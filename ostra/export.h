#pragma once

#if defined(OSTRA_BUILDING)
#define OSTRA_API __attribute__((visibility("default")))
#else
#define OSTRA_API
#endif
