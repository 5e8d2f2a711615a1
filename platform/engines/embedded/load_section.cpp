#include <platform/engines/embedded/load_section.h>

#include <platform/base/error_codes.h>
#include <platform/base/text.h>
#include <platform/cluster/cluster_api.h>

namespace platform::embedded {

namespace {

DWORD Dword(Statement& row, int column, DWORD least = 0, DWORD most = 0xFFFFFFFF) {
    return static_cast<DWORD>(row.Integer(column, least, most));
}

// Every table of named objects begins with id, name and key_id.
template <typename Record>
Record NamedRecord(Statement& row) {
    Record record;
    record.id = row.Integer(0, 1);
    record.name = row.Text(1, longestName);
    record.key = row.Integer(2, 1);
    return record;
}

template <typename Record, typename Fill>
DWORD LoadTable(Statement& rows, Table<Record>& table, Fill fill) {
    Table<Record> loaded;
    while (rows.Next()) {
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
    Statement rows(database, "SELECT id, name, key_id, state FROM nodes ORDER BY id");
    return LoadTable(rows, model.nodes, [&](NodeRecord& node) { node.state = Dword(rows, 3, 0, ClusterNodePaused); });
}

DWORD LoadNetworks(Database& database, ClusterModel& model) {
    Statement rows(database, "SELECT id, name, key_id, state, identifier, address, mask FROM networks ORDER BY id");
    return LoadTable(rows, model.networks, [&](NetworkRecord& network) {
        network.state = Dword(rows, 3, 0, ClusterNetworkUp);
        network.identifier = rows.Text(4, 64);
        network.address = rows.Text(5, 15);
        network.mask = rows.Text(6, 15);
    });
}

DWORD LoadInterfaces(Database& database, ClusterModel& model) {
    Statement rows(database, "SELECT id, name, key_id, state, node, network, address FROM interfaces ORDER BY id");
    return LoadTable(rows, model.interfaces, [&](InterfaceRecord& networkInterface) {
        networkInterface.state = Dword(rows, 3, 0, ClusterNetInterfaceUp);
        networkInterface.node = rows.Integer(4, 1);
        networkInterface.network = rows.Integer(5, 1);
        networkInterface.address = rows.Text(6, 15);
    });
}

DWORD LoadPartitions(Database& database, std::map<RowId, SharedDisk>& disks) {
    Statement rows(database, "SELECT disk, drive, label, serial FROM partitions ORDER BY disk, place");
    while (rows.Next()) {
        const auto disk = disks.find(rows.Integer(0, 1));
        const DiskPartition partition{rows.Text(1, 259), rows.Text(2, 259), Dword(rows, 3)};
        if (rows.Result() != error::Success) return rows.Result();
        if (disk == disks.end()) return error::FileCorrupt;
        disk->second.partitions.push_back(partition);
    }
    return rows.Result();
}

DWORD LoadDisks(Database& database, ClusterModel& model) {
    std::map<RowId, SharedDisk> disks;
    Statement rows(database, "SELECT id, signature, scsi_address, number FROM disks ORDER BY id");
    while (rows.Next()) {
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
    Statement rows(database, "SELECT id, name, key_id FROM types ORDER BY id");
    return LoadTable(rows, model.types, [](TypeRecord&) {});
}

// Rows of two numbers, the first of which is that of an object of the table.
template <typename Record, typename Add>
DWORD LoadPairs(Statement& rows, Table<Record>& table, Add add) {
    Record* record = nullptr;
    while (rows.Next()) {
        const RowId id = rows.Integer(0, 1);
        const RowId other = rows.Integer(1, 1);
        if (rows.Result() != error::Success) return rows.Result();
        if (!record || record->id != id) record = table.Find(id);
        if (!record) return error::FileCorrupt;
        add(*record, other);
    }
    return rows.Result();
}

DWORD LoadGroups(Database& database, ClusterModel& model) {
    Statement rows(database, "SELECT id, name, key_id, owner, asked_online FROM resource_groups ORDER BY id");
    const DWORD code = LoadTable(rows, model.groups, [&](GroupRecord& group) {
        group.owner = rows.Integer(3, 1);
        group.isAskedOnline = rows.Integer(4, 0, 1) == 1;
    });
    if (code != error::Success) return code;
    Statement owners(database, "SELECT resource_group, node FROM preferred_owners ORDER BY resource_group, place");
    return LoadPairs(owners, model.groups,
                     [](GroupRecord& group, RowId node) { group.preferredOwners.push_back(node); });
}

DWORD LoadResources(Database& database, ClusterModel& model) {
    Statement rows(database, "SELECT id, name, key_id, type, resource_group, state FROM resources ORDER BY id");
    const DWORD code = LoadTable(rows, model.resources, [&](ResourceRecord& resource) {
        resource.type = rows.Integer(3, 1);
        resource.group = rows.Integer(4, 1);
        resource.state = Dword(rows, 5, ClusterResourceOnline, ClusterResourceFailed);
    });
    if (code != error::Success) return code;
    Statement owners(database, "SELECT resource, node FROM possible_owners ORDER BY resource, node");
    if (const DWORD failed = LoadPairs(owners, model.resources, [](ResourceRecord& resource, RowId node) {
            resource.possibleOwners.insert(resource.possibleOwners.end(), node);
        }))
        return failed;
    Statement dependencies(database, "SELECT resource, provider FROM dependencies");
    return LoadPairs(dependencies, model.resources,
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
