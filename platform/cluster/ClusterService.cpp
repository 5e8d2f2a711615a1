#include <platform/cluster/ClusterService.h>

#include <platform/base/error_codes.h>

namespace platform {

DWORD ListEnumeration::Item(DWORD index, DWORD& type, std::wstring& name) const {
    if (index >= _entries.size()) return error::NoMoreItems;
    type = _entries[index].type;
    name = _entries[index].name;
    return error::Success;
}

}  // namespace platform
