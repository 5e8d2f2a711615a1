#pragma once

#include <ostra/foundation/display.h>
