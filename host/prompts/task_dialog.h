// The task dialogs that plug-ins fill. A dialog belongs to the thread that fills it.
#pragma once

#include "host/prompts/catalogue.h"
#include "host/prompts/prompt_desk.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

namespace host {

// The desk and the catalogue outlive it.
ComPtr<TMK::ITMK_TaskDialog> MakeTaskDialog(PromptDesk& desk, const Catalogue& catalogue);

}  // namespace host
