#include "export/WindowsSigner.h"

#include <filesystem>
#include <fstream>

#include "export/ComponentManager.h"
#include "export/ExportFiles.h"
#include "export/ExportProcess.h"

namespace Lumenda3D {
namespace fs = std::filesystem;

std::string WindowsSigner::timestampUrlOf(const WindowsSigningOptions& options) {
    return options.timestampUrl.empty() ? kDefaultTimestampUrl : options.timestampUrl;
}

bool WindowsSigner::check(const WindowsSigningOptions& options, std::string& error) {
    std::error_code ec;
    if (!options.wanted()) {
        error = "no certificate (.pfx) was given for signing";
        return false;
    }
    if (!fs::is_regular_file(options.certificatePath, ec) || !std::ifstream(options.certificatePath).good()) {
        error = "the certificate " + options.certificatePath + " does not exist or cannot be read";
        return false;
    }
    const std::string url = timestampUrlOf(options);
    if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0) {
        error = "the timestamp server must be an http or https address";
        return false;
    }
    return true;
}

bool WindowsSigner::sign(const Input& in, std::string& error) {
    if (!check(in.options, error))
        return false;
    std::error_code ec;
    if (!fs::is_regular_file(in.filePath, ec)) {
        error = "there is no file to sign at " + in.filePath;
        return false;
    }
    const std::string program = ComponentManager::findProgram("osslsigncode");
    if (program.empty()) {
        error = "osslsigncode is not installed (Debian package osslsigncode)";
        return false;
    }
    const std::string signedPath = ExportFiles::workFolderBeside(in.filePath, "signed");
    std::vector<std::string> args = {program, "sign", "-pkcs12", in.options.certificatePath, "-readpass", ExportProcess::kSecretPath,
                                     "-h", "sha256"};
    if (!in.description.empty()) {
        args.push_back("-n");
        args.push_back(in.description);
    }
    const std::string timestampUrl = timestampUrlOf(in.options);
    if (in.timestamp) {
        args.push_back("-ts");
        args.push_back(timestampUrl);
    }
    args.insert(args.end(), {"-in", in.filePath, "-out", signedPath});
    const ExportProcess::Result run = ExportProcess::run(args, {}, &in.options.password);
    if (!run.ok() || !fs::is_regular_file(signedPath, ec)) {
        fs::remove(signedPath, ec);
        const std::string& out = run.output;
        if (out.find("Wrong password") != std::string::npos || out.find("mac verify failure") != std::string::npos)
            error = "the certificate password is wrong, or " + in.options.certificatePath + " is not a valid .pfx";
        else if (out.find("Failed to parse PKCS#12") != std::string::npos ||
                 out.find("Failed to read key or certificates") != std::string::npos)
            error = in.options.certificatePath + " is not a .pfx certificate that can be used for signing";
        else if (in.timestamp && out.find("imestamp") != std::string::npos)
            error = "the timestamp server " + timestampUrl + " could not be reached: " +
                    ExportProcess::lastLines(out, 2);
        else
            error = run.started ? "osslsigncode failed: " + ExportProcess::lastLines(out) : out;
        return false;
    }
    fs::rename(signedPath, in.filePath, ec);
    if (ec) {
        fs::remove(signedPath, ec);
        error = "cannot replace " + in.filePath + " with its signed copy: " + ec.message();
        return false;
    }
    return true;
}

} // namespace Lumenda3D
