#pragma once

#include <platform/framework/CObject.h>

#include <map>
#include <string>

/// Objects by name. Names are case-sensitive, and members are visited in name order. The map never owns its objects:
/// who deletes one takes it out first.
class PLATFORM_API CMapStringToOb : public CObject {
public:
    using const_iterator = std::map<std::wstring, CObject*>::const_iterator;

    /// `blockSize` says how many members to make room for at a time; it never changes what the map holds.
    explicit CMapStringToOb(int blockSize = 10);
    ~CMapStringToOb() override;

    /// Replaces the object that the name had before.
    void SetAt(const std::wstring& key, CObject* object);
    /// False, and a null object, when there is none of that name.
    bool Lookup(const std::wstring& key, CObject*& object) const;
    /// False when there was none of that name.
    bool RemoveKey(const std::wstring& key);
    void RemoveAll();

    int GetCount() const;
    bool IsEmpty() const;

    /// Each member is a pair of a name and an object. Any change of the map may end an iteration.
    const_iterator begin() const { return _members.begin(); }
    const_iterator end() const { return _members.end(); }

private:
    std::map<std::wstring, CObject*> _members;
};
