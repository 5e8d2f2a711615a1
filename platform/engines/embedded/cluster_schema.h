#pragma once

#include <platform/store/Database.h>

namespace platform::embedded {

/// The tables of a cluster's file. Keys and values, and with them all properties, are in the tables of the KeyStore
/// beside them. `folded` is the name as it compares; `key_id` is the object's key.
///
/// A resource whose `every_node` is 1 has no rows in `possible_owners`: every node may have it, also those to come.
///
/// Each row of `sections` counts the changes to the tables of one Section, so that a process reads again only the
/// tables that another one changed.
const DatabaseSchema& ClusterSchema();

}  // namespace platform::embedded
