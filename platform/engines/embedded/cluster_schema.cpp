#include <platform/engines/embedded/cluster_schema.h>

#include <platform/store/KeyStore.h>

namespace platform::embedded {

namespace {

const char* const tables = R"sql(
CREATE TABLE cluster (
    id INTEGER PRIMARY KEY CHECK (id = 1),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    root_key INTEGER NOT NULL,
    checksum INTEGER NOT NULL AS (row_checksum(id, name, root_key)) STORED
) STRICT;
CREATE TABLE sections (
    id INTEGER PRIMARY KEY CHECK (id BETWEEN 0 AND 6),
    version INTEGER NOT NULL CHECK (version >= 0),
    checksum INTEGER NOT NULL AS (row_checksum(id, version)) STORED
) STRICT;
INSERT INTO sections (id, version) VALUES (0, 0), (1, 0), (2, 0), (3, 0), (4, 0), (5, 0), (6, 0);

CREATE TABLE nodes (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    folded TEXT NOT NULL UNIQUE,
    key_id INTEGER NOT NULL,
    state INTEGER NOT NULL CHECK (state BETWEEN 0 AND 2),
    checksum INTEGER NOT NULL AS (row_checksum(id, name, folded, key_id, state)) STORED
) STRICT;
CREATE TABLE networks (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    folded TEXT NOT NULL UNIQUE,
    key_id INTEGER NOT NULL,
    state INTEGER NOT NULL CHECK (state BETWEEN 0 AND 3),
    identifier TEXT NOT NULL UNIQUE CHECK (length(identifier) BETWEEN 1 AND 64),
    address TEXT NOT NULL CHECK (length(address) BETWEEN 7 AND 15),
    mask TEXT NOT NULL CHECK (length(mask) BETWEEN 7 AND 15),
    checksum INTEGER NOT NULL AS (row_checksum(id, name, folded, key_id, state, identifier, address, mask)) STORED
) STRICT;
CREATE TABLE interfaces (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    folded TEXT NOT NULL UNIQUE,
    key_id INTEGER NOT NULL,
    state INTEGER NOT NULL CHECK (state BETWEEN 0 AND 3),
    node INTEGER NOT NULL REFERENCES nodes (id) ON DELETE CASCADE,
    network INTEGER NOT NULL REFERENCES networks (id) ON DELETE CASCADE,
    address TEXT NOT NULL CHECK (length(address) BETWEEN 7 AND 15),
    checksum INTEGER NOT NULL AS (row_checksum(id, name, folded, key_id, state, node, network, address)) STORED,
    UNIQUE (node, network)
) STRICT;
CREATE INDEX interfaces_of_network ON interfaces (network);

CREATE TABLE disks (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    signature INTEGER NOT NULL UNIQUE CHECK (signature BETWEEN 1 AND 4294967295),
    scsi_address INTEGER NOT NULL CHECK (scsi_address BETWEEN 0 AND 4294967295),
    number INTEGER NOT NULL CHECK (number BETWEEN 0 AND 4294967295),
    checksum INTEGER NOT NULL AS (row_checksum(id, signature, scsi_address, number)) STORED
) STRICT;
CREATE TABLE partitions (
    disk INTEGER NOT NULL REFERENCES disks (id) ON DELETE CASCADE,
    place INTEGER NOT NULL CHECK (place >= 0),
    drive TEXT NOT NULL CHECK (length(drive) <= 259),
    label TEXT NOT NULL CHECK (length(label) <= 259),
    serial INTEGER NOT NULL CHECK (serial BETWEEN 0 AND 4294967295),
    checksum INTEGER NOT NULL AS (row_checksum(disk, place, drive, label, serial)) STORED,
    PRIMARY KEY (disk, place)
) STRICT, WITHOUT ROWID;

CREATE TABLE types (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    folded TEXT NOT NULL UNIQUE,
    key_id INTEGER NOT NULL,
    checksum INTEGER NOT NULL AS (row_checksum(id, name, folded, key_id)) STORED
) STRICT;

CREATE TABLE resource_groups (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    folded TEXT NOT NULL UNIQUE,
    key_id INTEGER NOT NULL,
    owner INTEGER NOT NULL REFERENCES nodes (id),
    asked_online INTEGER NOT NULL CHECK (asked_online IN (0, 1)),
    checksum INTEGER NOT NULL AS (row_checksum(id, name, folded, key_id, owner, asked_online)) STORED
) STRICT;
CREATE INDEX groups_of_owner ON resource_groups (owner);
CREATE TABLE preferred_owners (
    resource_group INTEGER NOT NULL REFERENCES resource_groups (id) ON DELETE CASCADE,
    place INTEGER NOT NULL CHECK (place >= 0),
    node INTEGER NOT NULL REFERENCES nodes (id) ON DELETE CASCADE,
    checksum INTEGER NOT NULL AS (row_checksum(resource_group, place, node)) STORED,
    PRIMARY KEY (resource_group, place),
    UNIQUE (resource_group, node)
) STRICT, WITHOUT ROWID;
CREATE INDEX preferred_by_node ON preferred_owners (node);

CREATE TABLE resources (
    id INTEGER PRIMARY KEY AUTOINCREMENT CHECK (id > 0),
    name TEXT NOT NULL CHECK (length(name) BETWEEN 1 AND 199),
    folded TEXT NOT NULL UNIQUE,
    key_id INTEGER NOT NULL,
    type INTEGER NOT NULL REFERENCES types (id),
    resource_group INTEGER NOT NULL REFERENCES resource_groups (id),
    state INTEGER NOT NULL CHECK (state BETWEEN 2 AND 4),
    every_node INTEGER NOT NULL DEFAULT 1 CHECK (every_node IN (0, 1)),
    checksum INTEGER NOT NULL AS (row_checksum(id, name, folded, key_id, type, resource_group, state, every_node)) STORED
) STRICT;
CREATE INDEX resources_of_group ON resources (resource_group);
CREATE TABLE possible_owners (
    resource INTEGER NOT NULL REFERENCES resources (id) ON DELETE CASCADE,
    node INTEGER NOT NULL REFERENCES nodes (id) ON DELETE CASCADE,
    checksum INTEGER NOT NULL AS (row_checksum(resource, node)) STORED,
    PRIMARY KEY (resource, node)
) STRICT, WITHOUT ROWID;
CREATE INDEX possible_by_node ON possible_owners (node);
CREATE TABLE dependencies (
    resource INTEGER NOT NULL REFERENCES resources (id) ON DELETE CASCADE,
    provider INTEGER NOT NULL REFERENCES resources (id),
    checksum INTEGER NOT NULL AS (row_checksum(resource, provider)) STORED,
    PRIMARY KEY (resource, provider),
    CHECK (resource <> provider)
) STRICT, WITHOUT ROWID;
CREATE INDEX dependencies_on_provider ON dependencies (provider);

CREATE TABLE changes (
    number INTEGER PRIMARY KEY AUTOINCREMENT CHECK (number > 0),
    time INTEGER NOT NULL,
    user TEXT NOT NULL,
    command TEXT NOT NULL,
    object TEXT NOT NULL,
    notification INTEGER NOT NULL CHECK (notification BETWEEN 0 AND 4294967295),
    detail TEXT NOT NULL,
    checksum INTEGER NOT NULL AS (row_checksum(number, time, user, command, object, notification, detail)) STORED
) STRICT;
)sql";

// In version 1 a resource had a row for each of its possible owners, also when that was every node.
const char* const conversion = R"sql(
UPDATE resources SET every_node = 0
    WHERE (SELECT count(*) FROM possible_owners WHERE resource = resources.id) < (SELECT count(*) FROM nodes);
DELETE FROM possible_owners WHERE resource IN (SELECT id FROM resources WHERE every_node = 1)
)sql";

}  // namespace

const DatabaseSchema& ClusterSchema() {
    static const DatabaseSchema schema{0x4f434c55, 2, std::string(KeyStore::schema) + tables, 1,
                                       std::string(KeyStore::conversion) + conversion};
    return schema;
}

}  // namespace platform::embedded
