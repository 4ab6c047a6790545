#include "export/BytecodeCompiler.h"

#include <cstring>
#include <filesystem>

#include "base/LmdLog.h"
#include "engine/document/LmdGameDocument.h"
#include "engine/logic/LmdLuaTranslator.h"
#include "engine/package/LmdGamePackage.h"
#include "engine/schema/CodeSchema.h"
#include "engine/schema/SchemaValidator.h"
#include "services/FileManager.h"

namespace fs = std::filesystem;

namespace Lumenda3D {
namespace {

BytecodeCompileResult failed(std::string error) {
    BytecodeCompileResult result;
    result.error = std::move(error);
    return result;
}

} // namespace

BytecodeCompileResult BytecodeCompiler::compile(const BytecodeCompileInput& input) {
    pugi::xml_document document;
    std::string error;
    if (!LmdGameDocument::parse(input.xml, document, &error))
        return failed("the document is not well-formed XML: " + error);
    const pugi::xml_node root = document.document_element();
    if (std::strcmp(root.name(), LmdGameDocument::kRootElement) != 0)
        return failed(std::string("the document's root element is <") + root.name() + ">, a game's is <" +
                      LmdGameDocument::kRootElement + ">");

    const std::string schemaPath = (fs::path(input.mediaDir) / "codeSchema.xml").string();
    CodeSchema schema;
    if (!schema.load(schemaPath, &error))
        return failed("the game language's schema could not be read from '" + schemaPath + "': " + error);
    const std::vector<std::string> findings = SchemaValidator::validate(root, schema, kReportedFindings + 1);
    if (!findings.empty()) {
        std::string text = "the document does not validate: ";
        for (size_t i = 0; i < findings.size() && i < size_t(kReportedFindings); ++i)
            text += (i ? "; " : "") + findings[i];
        if (findings.size() > size_t(kReportedFindings))
            text += "; and more";
        return failed(text);
    }

    const LmdLuaTranslation translation = LmdLuaTranslator::translate(root, schema);
    BytecodeCompileResult result;
    for (const LmdLuaTranslation::Problem& problem : translation.problems)
        result.warnings.push_back(problem.message());

    const fs::path out(input.outputDir);
    result.compiledXmlPath = (out / "game.xml").string();
    result.luaSourcePath = (out / "game.lua").string();
    result.bytecodePath = (out / "game.luac").string();
    if (!FileManager::writeFileAtomic(result.compiledXmlPath, input.xml, &error) ||
        !FileManager::writeFileAtomic(result.luaSourcePath, translation.chunk, &error))
        return failed("the compiled files could not be written: " + error);
    std::string bytecode;
    if (!input.luaFileToBytecode)
        return failed("no Lua compiler was given");
    if (!input.luaFileToBytecode(result.luaSourcePath, bytecode))
        return failed("the game's logic could not be compiled to Lua bytecode (the log has Lua's message)");
    if (!FileManager::writeFileAtomic(result.bytecodePath, bytecode, &error))
        return failed("the compiled files could not be written: " + error);
    result.success = true;
    return result;
}

bool BytecodeCompiler::buildPackage(const BytecodeCompileResult& result, const std::string& packagePath,
                                    std::string& error) {
    if (!result.success) {
        error = "the game was not compiled";
        return false;
    }
    LmdGamePackage package;
    if (!FileManager::readFile(result.compiledXmlPath, package.documentXml, &error) ||
        !FileManager::readFile(result.bytecodePath, package.logicBytecode, &error))
        return false;
    return FileManager::writeFileAtomic(packagePath, package.serialize(), &error);
}

} // namespace Lumenda3D
