#pragma once

#include <platform/base/types.h>

#include <optional>
#include <string>

/// A name as the cluster API takes it, which ends at its first null. A name that holds one would mean another object
/// there: it is handed on as none, which the API refuses (87).
const wchar_t* ApiName(const std::wstring& name);

/// Opens a cluster by such a name. Null, with the thread's last error, when that is not possible.
HCLUSTER OpenNamedCluster(const std::wstring& name);

/// The name that the object behind an open handle has by now; empty when the cluster has it no longer, and nothing when
/// the handle is null or the cluster cannot tell. The thread's last error stays as it was.
std::optional<std::wstring> PresentName(HNODE node);
std::optional<std::wstring> PresentName(HGROUP group);
std::optional<std::wstring> PresentName(HRESOURCE resource);

/// Leaves in the thread's last error why a state is none that an object knows: what made it unreadable is there
/// already, a number without a meaning is invalid data (13).
void NoteUnknownState(DWORD state);
