#pragma once
// Shared by the logic runtime tests: a scene host that keeps objects as property maps and records
// what the logic asked of it, a log capture, and a fixture that loads game text into a runtime.
#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <pugixml.hpp>

#include "base/LmdLog.h"
#include "engine/logic/LmdLuaRuntime.h"
#include "engine/logic/LmdScriptHost.h"
#include "engine/schema/CodeSchema.h"

namespace Lumenda3D::test {

// Keeps the log lines written while it lives, and keeps them off stderr.
class LogicLogCapture {
public:
    LogicLogCapture() {
        LmdLog::setEchoToStderr(false);
        handle_ = LmdLog::addSink([this](const std::string& text, LogLevel level) {
            if (level == LogLevel::Critical)
                critical.push_back(text);
        });
    }
    ~LogicLogCapture() {
        LmdLog::removeSink(handle_);
        LmdLog::setEchoToStderr(true);
    }
    // Critical lines that contain `part`.
    size_t count(const std::string& part) const {
        return static_cast<size_t>(std::count_if(critical.begin(), critical.end(),
                                                 [&](const std::string& l) { return l.find(part) != std::string::npos; }));
    }
    std::string all() const {
        std::string out;
        for (const std::string& line : critical)
            out += line + "\n";
        return out;
    }
    std::vector<std::string> critical;

private:
    int handle_ = 0;
};

class FakeScriptHost : public LmdScriptHost {
public:
    using Props = std::map<std::string, LmdScriptValue>;

    // A new object with the properties every object has.
    void add(const std::string& name, double x = 0, double y = 0, double z = 0) {
        Props& p = objects[name];
        for (const char* axis : {"x", "y", "z", "rotationX", "rotationY", "rotationZ", "velocityX", "velocityY", "velocityZ"})
            p[axis] = LmdScriptValue::ofNumber(0);
        for (const char* axis : {"scaleX", "scaleY", "scaleZ"})
            p[axis] = LmdScriptValue::ofNumber(1);
        p["x"] = LmdScriptValue::ofNumber(x);
        p["y"] = LmdScriptValue::ofNumber(y);
        p["z"] = LmdScriptValue::ofNumber(z);
        p["visible"] = LmdScriptValue::ofBoolean(true);
        p["text"] = LmdScriptValue::ofText("");
        p["color"] = LmdScriptValue::ofText("0xFFFFFF");
    }
    double num(const std::string& object, const std::string& property) {
        return objects[object][property].number;
    }
    std::string text(const std::string& object) { return objects[object]["text"].text; }
    size_t countCalls(const std::string& prefix) const {
        return static_cast<size_t>(std::count_if(calls.begin(), calls.end(),
                                                 [&](const std::string& c) { return c.rfind(prefix, 0) == 0; }));
    }

    bool hasObject(const std::string& object) override { return objects.count(object) > 0; }
    bool getProperty(const std::string& object, const std::string& property, LmdScriptValue& value) override {
        auto o = objects.find(object);
        if (o == objects.end())
            return false;
        auto p = o->second.find(property);
        if (p == o->second.end()) {
            if (!permissive)
                return false;
            value = LmdScriptValue::ofNumber(0);
            return true;
        }
        value = p->second;
        return true;
    }
    bool setProperty(const std::string& object, const std::string& property, const LmdScriptValue& value) override {
        auto o = objects.find(object);
        if (o == objects.end())
            return false;
        o->second[property] = value;
        ++writes[object + "." + property];
        return true;
    }
    bool translate(const std::string& object, double dx, double dy, double dz, bool local) override {
        if (!hasObject(object))
            return false;
        calls.push_back("translate " + object + (local ? " local" : " world"));
        objects[object]["x"].number += dx;
        objects[object]["y"].number += dy;
        objects[object]["z"].number += dz;
        return true;
    }
    bool lookAt(const std::string& object, const std::string& target) override {
        calls.push_back("lookAt " + object + " " + target);
        return hasObject(object) && hasObject(target);
    }
    bool applyForce(const std::string& object, double fx, double fy, double fz, bool impulse, bool local) override {
        calls.push_back("force " + object + " " + std::to_string(fx) + " " + std::to_string(fy) + " " + std::to_string(fz) +
                        (impulse ? " impulse" : "") + (local ? " local" : ""));
        return hasObject(object);
    }
    bool setVelocity(const std::string& object, std::optional<double> vx, std::optional<double> vy,
                     std::optional<double> vz, bool) override {
        auto show = [](std::optional<double> v) { return v ? std::to_string(static_cast<int>(*v)) : std::string("keep"); };
        calls.push_back("velocity " + object + " " + show(vx) + " " + show(vy) + " " + show(vz));
        return hasObject(object);
    }
    bool destroyObject(const std::string& object) override {
        calls.push_back("destroy " + object);
        return objects.erase(object) > 0;
    }
    std::string cloneObject(const std::string& object, const std::string& newName, double dx, double, double) override {
        if (!hasObject(object))
            return {};
        std::string name = newName.empty() ? object : newName;
        for (int n = 2; objects.count(name); ++n)
            name = (newName.empty() ? object : newName) + "_" + std::to_string(n);
        objects[name] = objects[object];
        objects[name]["x"].number += dx;
        calls.push_back("clone " + object + " " + name);
        return name;
    }
    bool playAnimation(const std::string& object, const std::string& animation, bool loop, double) override {
        calls.push_back("anim " + object + " " + animation + (loop ? " loop" : ""));
        return hasObject(object);
    }
    bool stopAnimation(const std::string& object) override {
        calls.push_back("stopAnim " + object);
        return hasObject(object);
    }
    bool switchLight(const std::string& light, bool on) override {
        calls.push_back("light " + light + (on ? " on" : " off"));
        return hasObject(light);
    }
    bool playSound(const std::string& sound, double, bool loop) override {
        calls.push_back("sound " + sound + (loop ? " loop" : ""));
        return true;
    }
    void stopSound(const std::string& sound) override { calls.push_back("stopSound " + sound); }
    bool distance(const std::string& a, const std::string& b, double& result) override {
        if (!hasObject(a) || !hasObject(b))
            return false;
        const double dx = num(a, "x") - num(b, "x"), dy = num(a, "y") - num(b, "y"), dz = num(a, "z") - num(b, "z");
        result = std::sqrt(dx * dx + dy * dy + dz * dz);
        return true;
    }
    bool goToLevel(const std::string& level) override {
        calls.push_back("level " + level);
        return std::find(refusedLevels.begin(), refusedLevels.end(), level) == refusedLevels.end();
    }
    void print(const std::string& text) override { prints.push_back(text); }

    std::map<std::string, Props> objects;
    std::map<std::string, int> writes;
    std::vector<std::string> calls;
    std::vector<std::string> prints;
    std::vector<std::string> refusedLevels;
    bool permissive = false; // unknown properties of existing objects read as 0
};

// Loads the real command schema once.
inline const CodeSchema& realSchema() {
    static CodeSchema schema;
    static const bool loaded = schema.load(LMD_SOURCE_MEDIA_DIR "/codeSchema.xml");
    EXPECT_TRUE(loaded);
    return schema;
}

class LogicTest : public ::testing::Test {
protected:
    // Loads game text (the root element is added around it) and starts the first level.
    bool play(const std::string& body, bool startNow = true) {
        xml = "<KiteBench3D>" + body + "</KiteBench3D>";
        if (!doc.load_string(xml.c_str())) {
            ADD_FAILURE() << "test document is not well-formed";
            return false;
        }
        runtime.setInstructionLimit(instructionLimit);
        if (!runtime.loadDocument(doc, realSchema()))
            return false;
        runtime.setRandomSeed(7);
        return !startNow || runtime.start();
    }
    double var(const std::string& name) {
        LmdScriptValue value;
        EXPECT_TRUE(runtime.getVariable(name, value)) << name;
        EXPECT_EQ(value.type, LmdScriptValue::Type::Number) << name << " is not a number";
        return value.number;
    }
    std::string text(const std::string& name) {
        LmdScriptValue value;
        EXPECT_TRUE(runtime.getVariable(name, value)) << name;
        if (value.type == LmdScriptValue::Type::Number) {
            char buffer[64];
            std::snprintf(buffer, sizeof buffer, "%.14g", value.number);
            return buffer;
        }
        if (value.type == LmdScriptValue::Type::Boolean)
            return value.boolean ? "true" : "false";
        return value.text;
    }
    void frames(int count, double dt) {
        for (int i = 0; i < count; ++i)
            runtime.update(dt);
    }

    LogicLogCapture log;
    FakeScriptHost host;
    LmdLuaRuntime runtime{host};
    pugi::xml_document doc;
    std::string xml;
    std::int64_t instructionLimit = LmdLuaRuntime::kDefaultInstructionLimit;
};

} // namespace Lumenda3D::test
