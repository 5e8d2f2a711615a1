#include <platform/framework/CPtrList.h>

CPtrList::CPtrList(int) {}

CPtrList::~CPtrList() = default;

void CPtrList::AddTail(void* pointer) {
    _members.push_back(pointer);
}

void* CPtrList::GetTail() const {
    return _members.empty() ? nullptr : _members.back();
}

void CPtrList::RemoveAll() {
    _members.clear();
}

int CPtrList::GetCount() const {
    return static_cast<int>(_members.size());
}
