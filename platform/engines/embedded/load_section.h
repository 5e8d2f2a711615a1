#pragma once

#include <platform/engines/embedded/ClusterModel.h>
#include <platform/store/Database.h>

namespace platform::embedded {

/// Reads the tables of one section into the model, in place of what it has of them. Inside a transaction. FileCorrupt
/// for rows that cannot be; what follows from other records, and the references, are ClusterModel::Link's to check.
DWORD LoadSection(Database& database, Section section, ClusterModel& model);

}  // namespace platform::embedded
