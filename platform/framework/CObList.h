#pragma once

#include <platform/framework/CObject.h>

#include <list>

/// Objects in the order in which they were added. The list never owns them.
class PLATFORM_API CObList : public CObject {
public:
    using const_iterator = std::list<CObject*>::const_iterator;

    /// `blockSize` says how many members to make room for at a time; it never changes what the list holds.
    explicit CObList(int blockSize = 10);
    ~CObList() override;

    void AddTail(CObject* object);
    void RemoveAll();
    int GetCount() const;

    const_iterator begin() const { return _members.begin(); }
    const_iterator end() const { return _members.end(); }

private:
    std::list<CObject*> _members;
};
