#pragma once

#include <platform/cluster/ClusterDirectory.h>

#include <string>

namespace platform {

/// The engine of that name; one that is not registered is looked for in a library of its own,
/// "libostra-engine-NAME.so.1", which registers it when it is loaded. Null when there is none.
ClusterEngine* FindClusterEngine(const std::wstring& name);

/// The engine that is a part of this library, "embedded". It is defined beside that engine: to register itself, it
/// would have to be linked first, and a static library leaves out what nobody names.
ClusterEngine& BuiltInEngine();

}  // namespace platform
