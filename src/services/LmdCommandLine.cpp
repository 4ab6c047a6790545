#include "services/LmdCommandLine.h"

#include "base/LmdValueParser.h"

#include <algorithm>
#include <cctype>

namespace Lumenda3D {
namespace {

struct OptionSpec {
    const char* name;
    bool takesValue;
    const char* valueHint;   // shown in errors and in the usage
    const char* help;
};

const OptionSpec kOptions[] = {
    {"mcp", true, "on|off", "turn the agent (MCP) server on or off; the choice is remembered"},
    {"mcp-port", true, "N", "port of the agent server, 1024 to 65535; remembered"},
    {"screenshot", true, "FILE", "write the first project's window to FILE (PNG), then exit"},
    {"help", false, "", "print this help and exit"},
    {"version", false, "", "print the version and exit"},
};

const OptionSpec* findOption(const std::string& name) {
    for (const OptionSpec& spec : kOptions)
        if (name == spec.name)
            return &spec;
    return nullptr;
}

// An argument as quoted in an error: control characters written as escapes, so that each error
// stays one line of plain text.
std::string shown(const std::string& text) {
    static const char hex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (c == '\n')
            out += "\\n";
        else if (c == '\t')
            out += "\\t";
        else if (c == '\r')
            out += "\\r";
        else if (c < 0x20 || c == 0x7F)
            out += std::string("\\x") + hex[c >> 4] + hex[c & 0x0F];
        else
            out += static_cast<char>(c);
    }
    return out;
}

std::string lower(const std::string& text) {
    return LmdValueParser::toLower(text);
}

} // namespace

LmdCommandLine::LmdCommandLine(int argc, char** argv) {
    std::vector<std::string> args;
    for (int i = 1; argv && i < argc; ++i)
        if (argv[i])
            args.emplace_back(argv[i]);
    parse(args);
}

LmdCommandLine::LmdCommandLine(const std::vector<std::string>& args) { parse(args); }

void LmdCommandLine::parse(const std::vector<std::string>& args) {
    bool onlyPositional = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (onlyPositional || arg.size() < 2 || arg[0] != '-') {
            positional_.push_back(arg);   // includes "-" alone and the empty string
            continue;
        }
        if (arg == "--") {
            onlyPositional = true;
            continue;
        }
        if (arg == "-h") {
            options_["help"] = "1";
            continue;
        }
        if (arg[1] != '-') {
            errors_.push_back("Unknown option '" + shown(arg) + "'. Options are written with two dashes, as in --mcp on.");
            continue;
        }

        std::string name = arg.substr(2);
        std::string value;
        bool hasInlineValue = false;
        const std::size_t eq = name.find('=');
        if (eq != std::string::npos) {
            value = name.substr(eq + 1);
            name = name.substr(0, eq);
            hasInlineValue = true;
        }

        const OptionSpec* spec = findOption(name);
        if (!spec) {
            errors_.push_back("Unknown option '--" + shown(name) + "'. Run with --help to see the options.");
            continue;
        }
        if (!spec->takesValue) {
            if (hasInlineValue)
                errors_.push_back("Option '--" + name + "' takes no value.");
            else
                options_[name] = "1";
            continue;
        }
        if (!hasInlineValue) {
            // The next argument is the value, unless it is missing or is itself an option.
            if (i + 1 >= args.size() || (args[i + 1].size() > 1 && args[i + 1][0] == '-' && args[i + 1] != "-")) {
                errors_.push_back("Option '--" + name + "' needs a value (" + spec->valueHint + ").");
                continue;
            }
            value = args[++i];
        }
        if (acceptValue(name, value))
            options_[name] = value;
    }
}

bool LmdCommandLine::acceptValue(const std::string& name, std::string& value) {
    if (name == "mcp") {
        const std::string v = lower(value);
        if (v == "on" || v == "off" || v == "1" || v == "0" || v == "true" || v == "false") {
            value = v;
            return true;
        }
        errors_.push_back("Option '--mcp' takes on or off, not '" + shown(value) + "'.");
        return false;
    }
    if (name == "mcp-port") {
        const bool digits = !value.empty() &&
                            std::all_of(value.begin(), value.end(), [](unsigned char c) { return std::isdigit(c); });
        const std::size_t firstNonZero = value.find_first_not_of('0');
        const std::string significant = firstNonZero == std::string::npos ? "0" : value.substr(firstNonZero);
        const long port = digits && significant.size() <= 5 ? std::stol(significant) : -1;
        if (port >= 1024 && port <= 65535) {
            value = std::to_string(port);   // "050000" becomes "50000"
            return true;
        }
        errors_.push_back("Option '--mcp-port' takes a port number from 1024 to 65535, not '" + shown(value) + "'.");
        return false;
    }
    return true;
}

std::string LmdCommandLine::get(const std::string& key, const std::string& defaultValue) const {
    auto it = options_.find(key);
    return it == options_.end() ? defaultValue : it->second;
}

bool LmdCommandLine::has(const std::string& key) const { return options_.count(key) != 0; }

std::string LmdCommandLine::errorText() const {
    std::string text;
    for (const std::string& error : errors_) {
        if (!text.empty())
            text += '\n';
        text += error;
    }
    return text;
}

std::string LmdCommandLine::usage(const std::string& programName) {
    std::string text = "Usage: " + programName + " [Lumenda3DApp://URL] [options]\n\nOptions:\n";
    for (const OptionSpec& spec : kOptions) {
        std::string left = std::string("  --") + spec.name;
        if (spec.takesValue)
            left += std::string(" ") + spec.valueHint;
        if (left.size() < 22)
            left.resize(22, ' ');
        else
            left += "  ";
        text += left + spec.help + "\n";
    }
    text += "\nA Lumenda3DApp:// URL with resId=<id> opens that cloud project. When the editor is\n"
            "already running, the URL and the options are handed to it and this process ends.\n";
    return text;
}

} // namespace Lumenda3D
