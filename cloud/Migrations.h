#pragma once
// The versions of the database schema. Each is a list of statements applied in one transaction
// together with its row in schema_migrations, so a server that starts on an older database brings
// it up to date, and one that dies half way leaves the previous version whole. Versions are never
// edited once released: a change of the schema is a new version at the end.
#include <string>
#include <vector>

namespace Lumenda3D::Cloud {

class Database;

class Migrations {
public:
    struct Version {
        int number;
        std::vector<std::string> statements;   // portable table definitions (see SqlBackend)
    };

    static const std::vector<Version>& all();
    static int latest();
    // Applies what is missing; throws StorageError, or std::runtime_error when the database was
    // written by a newer server.
    static void run(Database& db);
};

} // namespace Lumenda3D::Cloud
