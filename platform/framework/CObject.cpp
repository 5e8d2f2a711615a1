#include <platform/framework/CObject.h>

namespace {
constexpr CRuntimeClass rootClass = {"CObject"};
}

const CRuntimeClass* CObject::GetRuntimeClass() const {
    return &rootClass;
}

CObject::~CObject() = default;

void CObject::Serialize(CArchive&) {}

void CObject::AssertValid() const {}

void CObject::Dump(std::wstring&) const {}
