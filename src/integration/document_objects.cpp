#include "integration/document_objects.h"

#include "afs/file_system.h"
#include "base/failure.h"
#include "base/plugin_context.h"

HRESULT GetDocumentObjects(PluginContext* plugin, TMK::ITMK_Document* document,
                           document_objects& out_information) {
    TRACE_ENTRY("GetDocumentObjects");
    out_information = {};
    CHECK_RETURN(plugin != nullptr, E_INVALIDARG);
    CHECK_RETURN(document != nullptr, E_INVALIDARG);
    out_information.document = ComPtr<TMK::ITMK_Document>(document);
    CHECK_RESULT_TEXT(document->get_CoreDoc(out_information.core_document.put()),
                      u"document->get_CoreDoc(&core_document)");
    if (!out_information.core_document) TRACE_RETURN(S_FALSE);
    ComPtr<TMK::ITMK_SrcInfo> source;
    CHECK_RESULT_TEXT(out_information.core_document->get_SrcInfo(source.put()),
                      u"core_document->get_SrcInfo(&source)");
    if (!source) TRACE_RETURN(S_FALSE);
    CHECK_RESULT_TEXT(source->get_File(out_information.afs_file.put()), u"source->get_File(&afs_file)");
    if (!out_information.afs_file) TRACE_RETURN(S_FALSE);
    CHECK_RESULT_TEXT(out_information.afs_file->get_Name(out_information.afs_name.put()),
                      u"afs_file->get_Name(&afs_name)");
    if (!out_information.afs_name || !plugin->m_file_system) TRACE_RETURN(S_FALSE);
    out_information.name =
        static_cast<FileSystem*>(plugin->m_file_system.get())->GetName(out_information.afs_name.get());
    if (!out_information.name) TRACE_RETURN(S_FALSE);
    // Its name is of this file system, so the file is as well.
    out_information.file = ComPtr<File>(static_cast<File*>(out_information.afs_file.get()));
    TRACE_RETURN(S_OK);
}

HRESULT GetActiveDocumentObjects(PluginContext* plugin, IUnknown* object, document_objects& out_information) {
    TRACE_ENTRY("GetActiveDocumentObjects");
    out_information = {};
    CHECK_RETURN(plugin != nullptr && plugin->m_tmk_inst != nullptr, E_INVALIDARG);
    ComPtr<TMK::ITMK_DocumentView> document_view;
    CHECK_RESULT_TEXT(plugin->m_tmk_inst->GetDocViewFromUIObj(object, VARIANT_TRUE, document_view.put()),
                      u"plugin->m_tmk_inst->GetDocViewFromUIObj(object, VARIANT_TRUE, &document_view)");
    if (!document_view) TRACE_RETURN(S_FALSE);
    ComPtr<TMK::ITMK_Document> document;
    CHECK_RESULT_TEXT(document_view->get_Doc(document.put()), u"document_view->get_Doc(&document)");
    if (!document) TRACE_RETURN(S_FALSE);
    return GetDocumentObjects(plugin, document.get(), out_information);
}
