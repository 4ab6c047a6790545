#include "blocks/BlocksPanels.h"

#include "blocks/BlockPainter.h"
#include "blocks/BlockTemplate.h"
#include "blocks/BlocksHelper.h"
#include "blocks/BlocksPalette.h"
#include "blocks/MultiCopyDialog.h"
#include "blocks/Workflow.h"
#include "ui/AllUI.h"
#include "ui/LmdCommandRegistry.h"

namespace Lumenda3D {

std::shared_ptr<BlocksHelper> registerBlocksPanels(AllUI& ui) {
    auto workflow = std::make_shared<Workflow>();
    auto palette = std::make_shared<BlocksPalette>();
    auto helper = std::make_shared<BlocksHelper>();
    workflow->setBlocksPalette(palette.get());
    workflow->setBlocksHelper(helper);
    palette->setWorkflow(workflow.get());
    helper->setWorkflow(workflow.get());
    ui.setElement(Workflow::kName, workflow);
    ui.setElement(BlocksPalette::kName, palette);
    ui.setElement(MultiCopyDialog::kName, std::make_shared<MultiCopyDialog>());

    if (LmdCommandRegistry* commands = ui.getCommands()) {
        Workflow* tree = workflow.get();
        auto selected = [tree] { return tree->hasSelection(); };
        // Keys reach these from the tree itself (Delete, Ctrl+C, Ctrl+V, Ctrl+D while the pointer
        // is on it), so they carry no shortcut of the registry's, which would take
        // the keys from every other panel.
        commands->add({"blocks.delete", "Delete Block", {}, selected, "", [tree] { tree->deleteSelected(); }});
        commands->add({"blocks.duplicate", "Duplicate Block", {}, selected, "", [tree] { tree->duplicateSelected(); }});
        commands->add({"blocks.copy", "Copy Block", {}, selected, "", [tree] { tree->copySelected(); }});
        commands->add({"blocks.paste", "Paste Block", {},
                       [helper] { return helper->hasCopiedBlock(); }, "", [tree] { tree->pasteAtSelection(false); }});
    }
    return helper;
}

} // namespace Lumenda3D
