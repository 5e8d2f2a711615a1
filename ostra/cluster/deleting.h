#pragma once

#include <platform/framework/CMapStringToOb.h>

/// The end of a map that owns what it lists at that moment, whoever put it there.
inline void DeleteMembers(CMapStringToOb& map) {
    for (const auto& [name, member] : map) delete member;
    map.RemoveAll();
}
