#pragma once
// The product's name and version. The number is set in one place, the project() line of the
// top-level CMakeLists.txt; the entry (--version), the updater, the HTTP client's user agent and
// the agent server's serverInfo all read it here.
namespace Lumenda3D::LmdVersion {

// "2.1.3": dot-separated numbers.
const char* text();
// "Lumenda3D".
const char* productName();

} // namespace Lumenda3D::LmdVersion
