#pragma once

#include <platform/base/types.h>

// Types of registry and cluster database values.
inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_DWORD_BIG_ENDIAN = 5;
inline constexpr DWORD REG_LINK = 6;
inline constexpr DWORD REG_MULTI_SZ = 7;
inline constexpr DWORD REG_RESOURCE_LIST = 8;

// Rights of an open key.
inline constexpr DWORD KEY_QUERY_VALUE = 0x1;
inline constexpr DWORD KEY_SET_VALUE = 0x2;
inline constexpr DWORD KEY_CREATE_SUB_KEY = 0x4;
inline constexpr DWORD KEY_ENUMERATE_SUB_KEYS = 0x8;
inline constexpr DWORD KEY_NOTIFY = 0x10;
inline constexpr DWORD KEY_READ = 0x20019;
inline constexpr DWORD KEY_WRITE = 0x20006;
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_OPTION_VOLATILE = 1;

inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;
