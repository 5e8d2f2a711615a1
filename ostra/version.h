#pragma once

#define OSTRA_VERSION "1.0.0"
