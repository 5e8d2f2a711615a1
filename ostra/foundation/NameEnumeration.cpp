#include <ostra/foundation/NameEnumeration.h>

#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <platform/base/last_error.h>

void ReportGivenUp(DWORD code) {
    NTEventViewer(L"Ostra", NTEventViewer::Error, L"")
        << L"An enumeration was given up after " + std::to_wstring(maximumEnumerationFailures) +
               L" failures in a row. " + OstraError().GetErrorString(code);
    SetLastError(code);
}
