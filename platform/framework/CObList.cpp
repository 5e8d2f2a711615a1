#include <platform/framework/CObList.h>

CObList::CObList(int) {}

CObList::~CObList() = default;

void CObList::AddTail(CObject* object) {
    _members.push_back(object);
}

void CObList::RemoveAll() {
    _members.clear();
}

int CObList::GetCount() const {
    return static_cast<int>(_members.size());
}
