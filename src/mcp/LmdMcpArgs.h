#pragma once
// Reads a tool's arguments with defaults. Arguments are never checked against the catalogue's
// schemas: a member that is missing, null or of another type counts as absent, so a sloppy
// client gets the default (or the tool's own "requires ..." sentence) instead of an exception.
#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

namespace Lumenda3D {

class LmdMcpArgs {
public:
    using json = nlohmann::json;

    // Present as a number (integer or not).
    static bool hasNumber(const json& args, const char* key) {
        const json* v = find(args, key);
        return v && v->is_number();
    }
    static bool has(const json& args, const char* key) { return find(args, key) != nullptr; }

    static long long getInt(const json& args, const char* key, long long fallback) {
        const json* v = find(args, key);
        if (!v || !v->is_number())
            return fallback;
        if (v->is_number_float()) {
            const double d = v->get<double>();
            if (!(d > -9.2e18 && d < 9.2e18))
                return fallback;
            return static_cast<long long>(d);
        }
        if (v->is_number_unsigned() && v->get<unsigned long long>() > 9223372036854775807ull)
            return fallback;
        return v->get<long long>();
    }
    static double getNumber(const json& args, const char* key, double fallback) {
        const json* v = find(args, key);
        return v && v->is_number() ? v->get<double>() : fallback;
    }
    static std::string getString(const json& args, const char* key, const std::string& fallback) {
        const json* v = find(args, key);
        return v && v->is_string() ? v->get<std::string>() : fallback;
    }
    static bool getBool(const json& args, const char* key, bool fallback) {
        const json* v = find(args, key);
        return v && v->is_boolean() ? v->get<bool>() : fallback;
    }
    // A number as a person writes it: at most three decimals, no trailing zeros ("2", "0.5").
    static std::string formatNumber(double value) {
        char text[64];
        std::snprintf(text, sizeof text, "%.3f", value);
        std::string out = text;
        while (!out.empty() && out.back() == '0')
            out.pop_back();
        if (!out.empty() && out.back() == '.')
            out.pop_back();
        return out == "-0" ? "0" : out;
    }
    // The member when it is present and not null.
    static const json* find(const json& args, const char* key) {
        if (!args.is_object())
            return nullptr;
        auto it = args.find(key);
        return it == args.end() || it->is_null() ? nullptr : &*it;
    }
};

} // namespace Lumenda3D
