#include "AdminCommands.h"

#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "CloudServices.h"
#include "RuntimeArchiveCheck.h"
#include "Encoding.h"
#include "SessionToken.h"
#include "TextRules.h"
#include "UpdateHandlers.h"

namespace Lumenda3D::Cloud {
namespace {

struct Usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "--key value" pairs after the positional arguments.
struct Arguments {
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;

    Arguments(const std::vector<std::string>& args, std::size_t from) {
        for (std::size_t i = from; i < args.size(); ++i) {
            if (args[i].rfind("--", 0) == 0) {
                if (i + 1 >= args.size())
                    throw Usage(args[i] + " needs a value");
                options[args[i].substr(2)] = args[i + 1];
                ++i;
            } else {
                positional.push_back(args[i]);
            }
        }
    }
    std::string required(const std::string& key) const {
        auto it = options.find(key);
        if (it == options.end() || it->second.empty())
            throw Usage("--" + key + " is required");
        return it->second;
    }
    std::string optional(const std::string& key, const std::string& fallback = "") const {
        auto it = options.find(key);
        return it == options.end() ? fallback : it->second;
    }
};

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw Failure("cannot read " + path);
    std::ostringstream s;
    s << file.rdbuf();
    return s.str();
}

std::string readPassword(std::istream& in) {
    std::string password;
    std::getline(in, password);
    if (!password.empty() && password.back() == '\r')
        password.pop_back();
    if (!TextRules::isValidPassword(password))
        throw Failure("the password (first line of standard input) needs at least 8 characters");
    return password;
}

long long number(const std::string& text, const std::string& what) {
    try {
        std::size_t used = 0;
        const long long n = std::stoll(text, &used);
        if (used == text.size() && n >= 0)
            return n;
    } catch (const std::exception&) {
    }
    throw Usage(what + " must be a whole number");
}

} // namespace

std::string AdminCommands::usage() {
    return "Usage: lumenda3d-cloud admin [--db DATABASE | --data-dir DIR] COMMAND ...\n"
           "  create-user NAME                 (password: first line of standard input)\n"
           "  reset-password NAME              (password: first line of standard input)\n"
           "  set-quota NAME MB|unlimited|default\n"
           "  add-template --id ID --name NAME --xml FILE [--description TEXT] [--category TEXT]\n"
           "               [--picture FILE] [--picture-path /files/NAME] [--order N]\n"
           "  remove-template ID\n"
           "  list-templates\n"
           "  register-release --platform win|linux|mac --version V --url URL [--length BYTES]\n"
           "               [--short-version V] [--notes-url URL]\n"
           "  add-asset textures|models|sounds FILE [--name NAME] [--thumbnail FILE]\n"
           "  add-runtime-template --platform windows|linux --version V --archive FILE.zip\n"
           "  remove-runtime-template windows|linux VERSION\n"
           "  list-runtime-templates [windows|linux]\n";
}

int AdminCommands::run(const CloudConfig& config, const std::vector<std::string>& args, std::istream& in,
                       std::ostream& out, std::ostream& err) {
    if (args.empty() || args[0] == "help") {
        (args.empty() ? err : out) << usage();
        return args.empty() ? 2 : 0;
    }
    const std::string& command = args[0];
    try {
        const Arguments a(args, 1);
        CloudServices services(config);
        const std::int64_t now = std::time(nullptr);
        if (command == "create-user" && a.positional.size() == 1) {
            const std::string& name = a.positional[0];
            if (!TextRules::isValidUsername(name))
                throw Failure("'" + name + "' is not a valid user name (3 to 32 letters, digits, . _ -)");
            const std::string hash = services.hasher().hash(readPassword(in));
            if (!services.accounts().createUser(name, hash, now))
                throw Failure("the user name '" + name + "' is taken");
            out << "created user " << name << "\n";
        } else if (command == "reset-password" && a.positional.size() == 1) {
            auto user = services.accounts().findByName(a.positional[0]);
            if (!user)
                throw Failure("no user named '" + a.positional[0] + "'");
            services.accounts().setPasswordHash(user->id, services.hasher().hash(readPassword(in)), true);
            out << "new password set for " << user->username << "; their sessions have ended\n";
        } else if (command == "set-quota" && a.positional.size() == 2) {
            const std::string& value = a.positional[1];
            std::optional<std::int64_t> quota;
            if (value == "unlimited")
                quota = -1;
            else if (value != "default")
                quota = static_cast<std::int64_t>(number(value, "the quota")) << 20;
            if (!services.accounts().setQuota(a.positional[0], quota))
                throw Failure("no user named '" + a.positional[0] + "'");
            out << "quota of " << a.positional[0] << ": " << value << "\n";
        } else if (command == "add-template" && a.positional.empty()) {
            TemplateInfo t;
            t.id = a.required("id");
            for (char c : t.id)
                if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-'))
                    throw Usage("--id may hold only letters, digits, _ and -");
            if (t.id.size() > 64)
                throw Usage("--id is longer than 64 characters");
            t.name = a.required("name");
            if (!TextRules::isValidResourceName(t.name))
                throw Usage("--name must be 1 to 64 characters without control characters");
            t.description = a.optional("description");
            t.category = a.optional("category");
            t.picturePath = a.optional("picture-path");
            if (!t.picturePath.empty() && t.picturePath.rfind("/files/", 0) != 0)
                throw Usage("--picture-path must begin with /files/");
            t.sortOrder = number(a.optional("order", "1000"), "--order");
            const std::string xml = readFile(a.required("xml"));
            if (xml.empty() || !TextRules::isCleanText(xml))
                throw Failure("the template document is empty or not UTF-8 text");
            std::optional<std::string> picture;
            if (!a.optional("picture").empty()) {
                picture = readFile(a.optional("picture"));
                t.pictureType = Encoding::imageType(*picture);
            }
            services.templates().put(t, xml, picture, now);
            out << "template " << t.id << " saved\n";
        } else if (command == "remove-template" && a.positional.size() == 1) {
            if (!services.templates().remove(a.positional[0]))
                throw Failure("no template with id '" + a.positional[0] + "'");
            out << "template " << a.positional[0] << " removed\n";
        } else if (command == "list-templates" && a.positional.empty()) {
            for (const TemplateInfo& t : services.templates().list())
                out << t.id << "\t" << t.name << "\t" << (t.hasPicture ? "picture" : "no picture") << "\n";
        } else if (command == "register-release" && a.positional.empty()) {
            Release r;
            r.platform = a.required("platform");
            if (!UpdateHandlers::isValidPlatform(r.platform))
                throw Usage("--platform must be win, linux or mac");
            r.version = a.required("version");
            r.url = a.required("url");
            if (r.url.rfind("http://", 0) != 0 && r.url.rfind("https://", 0) != 0)
                throw Usage("--url must be an http or https address");
            r.length = number(a.optional("length", "0"), "--length");
            r.shortVersion = a.optional("short-version");
            r.notesUrl = a.optional("notes-url");
            r.publishedAt = now;
            for (const std::string* s : {&r.version, &r.shortVersion, &r.notesUrl, &r.url})
                if (!TextRules::isCleanText(*s))
                    throw Usage("the release texts must be UTF-8");
            services.releases().put(r);
            out << "release " << r.version << " registered for " << r.platform << "\n";
        } else if (command == "add-runtime-template" && a.positional.empty()) {
            const std::string platform = a.required("platform");
            if (!RuntimeTemplateStore::isValidPlatform(platform))
                throw Usage("--platform must be windows or linux");
            const std::string version = a.required("version");
            if (!RuntimeTemplateStore::isValidVersion(version))
                throw Usage("--version must be 1 to 32 letters, digits, '.', '_' or '-'");
            const std::string archive = readFile(a.required("archive"));
            const std::string problem = RuntimeArchiveCheck::problemWith(platform, archive);
            if (!problem.empty())
                throw Failure(problem);
            const RuntimeTemplate t = services.runtimeTemplates().put(platform, version, archive, now);
            out << "runtime template " << platform << " " << version << " saved (" << t.size << " bytes, sha256 "
                << t.sha256 << ")\n";
        } else if (command == "remove-runtime-template" && a.positional.size() == 2) {
            if (!services.runtimeTemplates().remove(a.positional[0], a.positional[1]))
                throw Failure("no " + a.positional[0] + " runtime template of version '" + a.positional[1] + "'");
            out << "runtime template " << a.positional[0] << " " << a.positional[1] << " removed\n";
        } else if (command == "list-runtime-templates" && a.positional.size() <= 1) {
            for (const std::string platform : {"windows", "linux"}) {
                if (!a.positional.empty() && a.positional[0] != platform)
                    continue;
                for (const RuntimeTemplate& t : services.runtimeTemplates().list(platform))
                    out << platform << "\t" << t.version << "\t" << t.size << "\t" << t.sha256 << "\t"
                        << Encoding::isoTime(t.uploadedAt) << "\n";
            }
        } else if (command == "add-asset" && a.positional.size() == 2) {
            AssetStore::Upload u;
            u.type = a.positional[0];
            if (!TextRules::isValidAssetType(u.type))
                throw Usage("the type must be textures, models or sounds");
            const std::string path = a.positional[1];
            u.name = a.optional("name", path.substr(path.find_last_of('/') + 1));
            if (!TextRules::isValidAssetFileName(u.name) || !TextRules::hasAllowedExtension(u.type, u.name))
                throw Failure("'" + u.name + "' is not a usable " + u.type + " file name");
            u.data = readFile(path);
            if (!a.optional("thumbnail").empty())
                u.thumbnail = readFile(a.optional("thumbnail"));
            services.assets().put(u, -1, now);
            out << "public asset " << u.type << "/" << u.name << " saved\n";
        } else {
            throw Usage("unknown command or wrong arguments: " + command);
        }
        return 0;
    } catch (const Usage& e) {
        err << "lumenda3d-cloud admin: " << e.what() << "\n" << usage();
        return 2;
    } catch (const std::exception& e) {
        err << "lumenda3d-cloud admin: " << e.what() << "\n";
        return 1;
    }
}

} // namespace Lumenda3D::Cloud
