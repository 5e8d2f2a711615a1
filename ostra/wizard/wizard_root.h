#pragma once

#include <string>

/// The wizard's tree in the local registry, below HKEY_LOCAL_MACHINE.
inline constexpr wchar_t wizardKey[] = L"SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\";

/// The full path of a branch of that tree.
inline std::wstring WizardPath(const wchar_t* branch) {
    return std::wstring(L"HKEY_LOCAL_MACHINE\\") + wizardKey + branch;
}
