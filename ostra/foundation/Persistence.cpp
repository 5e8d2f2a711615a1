#include <ostra/foundation/Persistence.h>

#include <platform/base/output.h>

Persistence::~Persistence() = default;

void Persistence::SetPersistence(const std::wstring&) {
    platform::WriteOutputLine(L"Persistence::SetPersistence( void ). To be implemented by the derived class.");
}
