#pragma once

#include <ostra/wizard/ExpertWizard.h>
#include <programs/support/Context.h>

#include <string>

namespace programs {

/// Where the group templates of this machine stand in its registry, without a final backslash.
inline constexpr wchar_t templatesKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Groups";

/// The group templates of this machine; ends the command when one cannot be read.
std::unique_ptr<ExpertWizard> ReadTemplates();

/// The template of that name: exactly so, or but for case when just one is meant; the wizard's. Ends the command with
/// the names that there are.
const ExpertWizardGUIPage& FindTemplate(const ExpertWizard& wizard, const std::string& name);

/// The kinds of resource that a group made from the template has, in the order of their creation.
StringArray KindsOf(const ExpertWizardGUIPage& page);

/// Whether two texts name the same prompt: a final colon and case do not count.
bool IsSamePrompt(const std::wstring& one, const std::wstring& other);

/// The template as a document: what `ostra template export` writes and `ostra template import` reads.
Json Describe(const ExpertWizardGUIPage& page);

}  // namespace programs
