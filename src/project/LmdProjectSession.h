#pragma once
// What the editor knows about the open project besides the document: where it is stored, under
// what name, its publishing values, and the hash of the text that was last saved or loaded.
// The editor derives from this class, so these are plain fields of the editor object; the
// logic here needs no window and is tested on its own.
#include <cstdint>
#include <string>

namespace Lumenda3D {

class LmdProjectSession {
public:
    std::string cloudResourceId;       // resource id on the web server; empty: not in the cloud
    std::string localProjectName;      // folder name of the local project; empty: not stored locally
    std::string projectName;           // shown to the user; also the auto-save snapshot's name
    std::string projectDescription;    // for publishing
    std::string projectCategoryId;     // for publishing
    std::string projectResourceType = "project";  // "project" or "plugin"
    bool projectViewSource = true;     // players may view the source
    bool projectPublished = false;
    uint64_t persistedXmlHash = 0;     // hash of the stored text at the last save or load

    // All fields to their defaults, except the persisted hash.
    void resetProjectMetadata();

    // The session part of opening a project: identities and names from the arguments, then the
    // resource metadata JSON (all keys optional). A parse or type failure is logged as
    // "Failed to parse resource metadata: ..." and leaves what was already set.
    void applyOpenedProject(const std::string& resourceId, const std::string& name, const std::string& metadataJson);

    // The title the top bar shows: the name and where the project is stored.
    std::string projectTitle() const;

    // Dirty tracking compares the stored text with the text last saved or loaded.
    static uint64_t hashXml(const std::string& storedXml);
    void markPersistedText(const std::string& storedXml) { persistedXmlHash = hashXml(storedXml); }
    bool isDirtyText(const std::string& storedXml) const { return hashXml(storedXml) != persistedXmlHash; }

    bool isPluginOpen() const { return projectResourceType == "plugin"; }
    bool hasCloudResource() const { return !cloudResourceId.empty(); }
};

} // namespace Lumenda3D
