#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// The published interfaces were 32-bit: their "long" is LONG and their "unsigned long" is DWORD on every platform.
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using LONG = std::int32_t;
using UINT = std::uint32_t;
using BOOL = int;

/// Seconds since 1 January 1970 UTC. A date outside the range clamps to its nearest end, it never wraps.
using TimeValue = std::int32_t;

/// A list of names or of parameter strings, in the order given.
using StringArray = std::vector<std::wstring>;

/// Attributes by name. Names are case-sensitive, and every listing is in name order.
using StringMap = std::map<std::wstring, std::wstring>;

// Opaque handles. A handle is a key into a table of the platform's and never points at memory: one that was closed,
// or never was one, is refused with error::InvalidHandle.
using HCLUSTER = struct ClusterHandle*;
using HNODE = struct NodeHandle*;
using HGROUP = struct GroupHandle*;
using HRESOURCE = struct ResourceHandle*;
using HNETWORK = struct NetworkHandle*;
using HNETINTERFACE = struct NetworkInterfaceHandle*;
using HCLUSENUM = struct ClusterEnumHandle*;
using HGROUPENUM = struct GroupEnumHandle*;
using HNETWORKENUM = struct NetworkEnumHandle*;
using HRESENUM = struct ResourceEnumHandle*;

/// A key of the local registry, of another host's registry or of a cluster's database.
using HKEY = struct RegistryKeyHandle*;

/// An event source that reports go to.
using HEVENTSOURCE = struct EventSourceHandle*;

/// A loaded message table.
using HMODULE = struct ModuleHandle*;

/// One end of a named pipe.
using HPIPE = struct PipeHandle*;

/// An event that operations on pipes signal.
using HEVENT = struct EventHandle*;
