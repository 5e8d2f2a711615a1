#include <platform/framework/CMapStringToOb.h>

CMapStringToOb::CMapStringToOb(int) {}

CMapStringToOb::~CMapStringToOb() = default;

void CMapStringToOb::SetAt(const std::wstring& key, CObject* object) {
    _members[key] = object;
}

bool CMapStringToOb::Lookup(const std::wstring& key, CObject*& object) const {
    const auto member = _members.find(key);
    object = member != _members.end() ? member->second : nullptr;
    return member != _members.end();
}

bool CMapStringToOb::RemoveKey(const std::wstring& key) {
    return _members.erase(key) != 0;
}

void CMapStringToOb::RemoveAll() {
    _members.clear();
}

int CMapStringToOb::GetCount() const {
    return static_cast<int>(_members.size());
}

bool CMapStringToOb::IsEmpty() const {
    return _members.empty();
}
