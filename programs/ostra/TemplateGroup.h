#pragma once

#include <programs/support/Context.h>

#include <string>
#include <vector>

namespace programs {

/// A group from a template, as the command line asks for it.
struct TemplateGroupWish {
    std::string name;
    std::string templateName;
    std::vector<std::string> answers;  ///< "PROMPT=VALUE"
    std::string disk;                  ///< its drive; empty texts stand for what is free
    std::string network;
    std::string address;
    bool isRolledBack = false;  ///< nothing of a group that was not made whole stays
};

/// Creates the group with all of its resources and brings it online. Disk and address are chosen, and the address is
/// taken from its pool, in the same transaction, so that nobody else gets them. A creation that fails half-way ends the
/// command with what was made; its address is free.
void CreateGroupFromTemplate(Context& context, const TemplateGroupWish& wish);

/// Gives the group's resources the answers, and makes those of the template's resources that the group lacks, as at its
/// creation. All of it or nothing; then brings the group online.
void ChangeGroupFromTemplate(Context& context, const TemplateGroupWish& wish);

}  // namespace programs
