#pragma once

#include <programs/ostra/TemplateGroupAnswers.h>

#include <string>

namespace programs {

/// The disk, network and address of a group; empty texts for what its template does not ask for.
struct GroupHardware {
    std::string drive;
    std::string network;
    std::string address;
};

// Each turns an answer into what the resource has to be told, and answers what has no answer yet with what is free:
// the first available disk; the first network for clients with its mask, and the next address of its pool. Ends the
// command when that is nothing, or when somebody else has what was asked for. All of it holds within a transaction
// only.
void ChooseDisk(Context& context, TemplateGroupAnswers& answers, GroupHardware& hardware);
/// `present` is the address that the group holds already.
void ChooseAddress(Context& context, TemplateGroupAnswers& answers, const std::wstring& present,
                   GroupHardware& hardware);

/// Takes the group's address from its pool.
void TakeAddress(Context& context, const GroupHardware& hardware);

}  // namespace programs
