#include <platform/engines/embedded/load_section.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>

namespace platform::embedded {

namespace {

DWORD Dword(Statement& row, int column, DWORD least = 0, DWORD most = 0xFFFFFFFF) {
    return static_cast<DWORD>(row.Integer(column, least, most));
}

// Every table of named objects begins with id, name, folded and key_id.
template <typename Record>
Record NamedRecord(Statement& row) {
    Record record;
    record.id = row.Integer(0, 1);
    record.name = row.Text(1, longestName);
    record.key = row.Integer(3, 1);
    return record;
}

template <typename Record, typename Fill>
DWORD LoadTable(Statement& rows, Table<Record>& table, Fill fill) {
    Table<Record> loaded;
    while (rows.NextRow()) {
        Record record = NamedRecord<Record>(rows);
        fill(record);
        if (rows.Result() != error::Success) return rows.Result();
        std::wstring folded = FoldCase(record.name);
        if (!IsObjectName(record.name) || !loaded.Insert(std::move(record), std::move(folded)))
            return error::FileCorrupt;
    }
    if (rows.Result() == error::Success) table = std::move(loaded);
    return rows.Result();
}

DWORD LoadNodes(Database& database, ClusterModel& model) {
    Statement rows(database, "SELECT id, name, folded, key_id, state, checksum FROM nodes ORDER BY id");
    return LoadTable(rows, model.nodes, [&](NodeRecord& node) { node.state = Dword(rows, 4, 0, ClusterNodePaused); });
}

DWORD LoadNetworks(Database& database, ClusterModel& model) {
    Statement rows(
        database,
        "SELECT id, name, folded, key_id, state, identifier, address, mask, checksum FROM networks ORDER BY id");
    return LoadTable(rows, model.networks, [&](NetworkRecord& network) {
        network.state = Dword(rows, 4, 0, ClusterNetworkUp);
        network.identifier = rows.Text(5, 64);
        network.address = rows.Text(6, 15);
        network.mask = rows.Text(7, 15);
    });
}

DWORD LoadInterfaces(Database& database, ClusterModel& model) {
    Statement rows(
        database,
        "SELECT id, name, folded, key_id, state, node, network, address, checksum FROM interfaces ORDER BY id");
    return LoadTable(rows, model.interfaces, [&](InterfaceRecord& networkInterface) {
        networkInterface.state = Dword(rows, 4, 0, ClusterNetInterfaceUp);
        networkInterface.node = rows.Integer(5, 1);
        networkInterface.network = rows.Integer(6, 1);
        networkInterface.address = rows.Text(7, 15);
    });
}

DWORD LoadPartitions(Database& database, std::map<RowId, SharedDisk>& disks) {
    Statement rows(database, "SELECT disk, place, drive, label, serial, checksum FROM partitions ORDER BY disk, place");
    while (rows.NextRow()) {
        const auto disk = disks.find(rows.Integer(0, 1));
        const DiskPartition partition{rows.Text(2, 259), rows.Text(3, 259), Dword(rows, 4)};
        if (rows.Result() != error::Success) return rows.Result();
        if (disk == disks.end()) return error::FileCorrupt;
        disk->second.partitions.push_back(partition);
    }
    return rows.Result();
}

DWORD LoadDisks(Database& database, ClusterModel& model) {
    std::map<RowId, SharedDisk> disks;
    Statement rows(database, "SELECT id, signature, scsi_address, number, checksum FROM disks ORDER BY id");
    while (rows.NextRow()) {
        const RowId id = rows.Integer(0, 1);
        SharedDisk disk{Dword(rows, 1, 1), Dword(rows, 2), Dword(rows, 3), {}};
        if (rows.Result() == error::Success) disks.emplace(id, std::move(disk));
    }
    if (rows.Result() != error::Success) return rows.Result();
    if (const DWORD code = LoadPartitions(database, disks)) return code;
    model.disks = std::move(disks);
    return error::Success;
}

DWORD LoadTypes(Database& database, ClusterModel& model) {
    Statement rows(database, "SELECT id, name, folded, key_id, checksum FROM types ORDER BY id");
    return LoadTable(rows, model.types, [](TypeRecord&) {});
}

// Rows of numbers, the first of which is that of an object of the table, and the last that of another object.
template <typename Record, typename Add>
DWORD LoadPairs(Statement& rows, int otherAt, Table<Record>& table, Add add) {
    Record* record = nullptr;
    while (rows.NextRow()) {
        const RowId id = rows.Integer(0, 1);
        const RowId other = rows.Integer(otherAt, 1);
        if (rows.Result() != error::Success) return rows.Result();
        if (!record || record->id != id) record = table.Find(id);
        if (!record) return error::FileCorrupt;
        add(*record, other);
    }
    return rows.Result();
}

DWORD LoadGroups(Database& database, ClusterModel& model) {
    Statement rows(database,
                   "SELECT id, name, folded, key_id, owner, asked_online, checksum FROM resource_groups ORDER BY id");
    const DWORD code = LoadTable(rows, model.groups, [&](GroupRecord& group) {
        group.owner = rows.Integer(4, 1);
        group.isAskedOnline = rows.Integer(5, 0, 1) == 1;
    });
    if (code != error::Success) return code;
    Statement owners(
        database, "SELECT resource_group, place, node, checksum FROM preferred_owners ORDER BY resource_group, place");
    return LoadPairs(owners, 2, model.groups,
                     [](GroupRecord& group, RowId node) { group.preferredOwners.push_back(node); });
}

DWORD LoadResources(Database& database, ClusterModel& model) {
    Statement rows(database,
                   "SELECT id, name, folded, key_id, type, resource_group, state, every_node, checksum FROM resources "
                   "ORDER BY id");
    const DWORD code = LoadTable(rows, model.resources, [&](ResourceRecord& resource) {
        resource.type = rows.Integer(4, 1);
        resource.group = rows.Integer(5, 1);
        resource.state = Dword(rows, 6, ClusterResourceOnline, ClusterResourceFailed);
        resource.possibleOwners.isEveryNode = rows.Integer(7, 0, 1) == 1;
    });
    if (code != error::Success) return code;
    Statement owners(database, "SELECT resource, node, checksum FROM possible_owners ORDER BY resource, node");
    if (const DWORD failed = LoadPairs(owners, 1, model.resources, [](ResourceRecord& resource, RowId node) {
            resource.possibleOwners.nodes.push_back(node);
        }))
        return failed;
    Statement dependencies(database, "SELECT resource, provider, checksum FROM dependencies");
    return LoadPairs(dependencies, 1, model.resources,
                     [](ResourceRecord& resource, RowId provider) { resource.providers.insert(provider); });
}

}  // namespace

DWORD LoadSection(Database& database, Section section, ClusterModel& model) {
    switch (section) {
        case Section::Nodes: return LoadNodes(database, model);
        case Section::Networks: return LoadNetworks(database, model);
        case Section::Interfaces: return LoadInterfaces(database, model);
        case Section::Disks: return LoadDisks(database, model);
        case Section::Types: return LoadTypes(database, model);
        case Section::Groups: return LoadGroups(database, model);
        case Section::Resources: return LoadResources(database, model);
    }
    return error::InvalidParameter;
}

}  // namespace platform::embedded
