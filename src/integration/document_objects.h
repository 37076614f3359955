// What ties a document of the editor to the plug-in's objects. Main thread only.
#pragma once

#include "afs/document/file.h"
#include "afs/names/name.h"
#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

class PluginContext;

struct document_objects {
    ComPtr<TMK::ITMK_Document> document;
    ComPtr<TMK::ITMK_CoreDoc> core_document;
    ComPtr<TMK::IAFS_File> afs_file;
    ComPtr<TMK::IAFS_Name> afs_name;
    ComPtr<File> file;
    ComPtr<Name> name;
};

// S_FALSE for a document that is none of this plug-in's; then `out_information` has no file and no name.
HRESULT GetDocumentObjects(PluginContext* plugin, TMK::ITMK_Document* document,
                           document_objects& out_information);
// The same for the document that `object` shows, or else for the one in front.
HRESULT GetActiveDocumentObjects(PluginContext* plugin, IUnknown* object, document_objects& out_information);
