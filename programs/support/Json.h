#pragma once

#include <programs/support/Output.h>

#include <nlohmann/json.hpp>

// Instantiated in Output.cpp, once for all sources.
extern template class nlohmann::basic_json<nlohmann::ordered_map>;
