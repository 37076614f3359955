// The walk over the documents that the editor has open. Main thread only.
#pragma once

#include "base/failure.h"
#include "integration/document_objects.h"
#include "integration/events_handler.h"

// A failure on one document is traced, and the walk goes on.
template <typename Work>
HRESULT EventsHandler::ForEachDocument(Work&& work) {
    TRACE_NAME("EventsHandler::ForEachDocument");
    UINT count = 0;
    CHECK_RESULT(m_inst->get_DocumentsCount(&count));
    for (UINT index = 0; index < count; ++index) {
        ComPtr<TMK::ITMK_Document> document;
        HRESULT result = m_inst->get_Document(index, document.put());
        if (SUCCEEDED(result) && document) result = work(document.get());
        if (FAILED(result)) LOG_LINE(Log::error, u"document %u: (HRESULT)%d", index, result);
    }
    return S_OK;
}
