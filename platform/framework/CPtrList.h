#pragma once

#include <platform/framework/CObject.h>

#include <list>

/// Untyped pointers in the order in which they were added. The list never owns what they point at.
class PLATFORM_API CPtrList : public CObject {
public:
    using const_iterator = std::list<void*>::const_iterator;

    /// `blockSize` says how many members to make room for at a time; it never changes what the list holds.
    explicit CPtrList(int blockSize = 10);
    ~CPtrList() override;

    void AddTail(void* pointer);
    /// The pointer added last; null when the list is empty.
    void* GetTail() const;
    void RemoveAll();
    int GetCount() const;

    const_iterator begin() const { return _members.begin(); }
    const_iterator end() const { return _members.end(); }

private:
    std::list<void*> _members;
};
