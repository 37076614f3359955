#include "afs/names/enumeration.h"

#include "base/failure.h"
#include "base/out_values.h"

EnumFolder::EnumFolder(Name& name) : m_name(&name) {
    TRACE_ENTRY("EnumFolder::EnumFolder");
    const auto object = m_name->BindObject(SharePoint::Web::BindObjectType::folder);
    CHECK_THROW_TEXT(object != nullptr,
                     u"m_name->BindObject(SharePoint::Web::BindObjectType::folder) != nullptr", Exception,
                     u"Cannot enumerate non-existing folder");
    m_items = object->AsFolder()->Enumerate(&m_unread_reason);
    m_name->SetUnreadReason(m_unread_reason);
    TRACE_EXIT(u"");
}

HRESULT EnumFolder::get_Name(TMK::IAFS_Name** out_name) {
    TRACE_ENTRY("EnumFolder::get_Name");
    RETURN_VALUE(out_name, m_name.copy());
}

HRESULT EnumFolder::Next(TMK::IAFS_EnumFolderItem** out_enum_item) {
    TRACE_ENTRY("EnumFolder::Next");
    try {
        CHECK_RETURN(out_enum_item != nullptr, E_POINTER);
        *out_enum_item = nullptr;
        if (m_next == m_items.size()) TRACE_RETURN(S_FALSE);
        const ComPtr<Name> name = Name::Create(m_items[m_next], *m_name);
        *out_enum_item = MakeObject<EnumFolderItem>(*name).detach();
        ++m_next;
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT EnumFolder::Reset(DWORD, TMK::ITMK_CancelFlag* cancel_flag) {
    TRACE_ENTRY("EnumFolder::Reset");
    CHECK_RETURN(!IsCanceled(cancel_flag), E_CANCELED);
    m_next = 0;
    TRACE_RETURN(S_OK);
}

namespace Afs {

ItemProperties::ItemProperties(Name& name) : m_name(&name) {
    TRACE_ENTRY("FileInfo::FileInfo");
    CHECK_THROW(m_name->BindObject() != nullptr, HResultException, E_SP_NO_SUCH_ELEMENT);
    TRACE_EXIT(u"");
}

HRESULT ItemProperties::GetTitle(BSTR* out_title) const {
    TRACE_ENTRY("FileInfo::get_Title");
    RETURN_STRING(out_title, Information().m_name);
}

HRESULT ItemProperties::GetAttributes(DWORD* out_attributes) const {
    TRACE_ENTRY("FileInfo::get_Attributes");
    RETURN_VALUE(out_attributes, m_name->GetAttributes());
}

HRESULT ItemProperties::GetSize(ULONGLONG* out_size) const {
    TRACE_ENTRY("FileInfo::get_Size");
    CHECK_RETURN(out_size != nullptr, E_POINTER);
    CHECK_RETURN_TEXT((m_name->GetAttributes() & TMK::AFS_FileAttribute_Folder) == 0, E_INVALIDARG,
                      u"(m_name->m_attributes & TMK::AFS_FileAttributes::AFS_FileAttribute_Folder) == 0");
    *out_size = Information().m_size;
    TRACE_RETURN(S_OK);
}

HRESULT ItemProperties::GetCreationTime(ULONGLONG* out_time) const {
    TRACE_ENTRY("FileInfo::get_CreationTime");
    *out_time = Information().m_created_time;
    TRACE_RETURN(S_OK);
}

HRESULT ItemProperties::GetLastWriteTime(ULONGLONG* out_time) const {
    TRACE_ENTRY("FileInfo::get_LastWriteTime");
    *out_time = Information().m_modified_time;
    TRACE_RETURN(S_OK);
}

HRESULT ItemProperties::GetProp() const {
    TRACE_ENTRY("FileInfo::get_Prop");
    TRACE_RETURN(E_NOTIMPL);
}

HRESULT ItemProperties::GetName(TMK::IAFS_Name** out_name) const {
    TRACE_ENTRY("EnumFolderItem::get_Name");
    RETURN_VALUE(out_name, m_name.copy());
}

}  // namespace Afs

HRESULT NamesCollection::Create(TMK::IAFS_NamesCollection** out_object) {
    TRACE_ENTRY("NamesCollection::Create");
    try {
        CHECK_RETURN(out_object != nullptr, E_POINTER);
        *out_object = MakeObject<NamesCollection>().detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

HRESULT NamesCollection::get_Count(UINT* out_count) {
    TRACE_ENTRY("NamesCollection::get_Count");
    RETURN_VALUE(out_count, static_cast<UINT>(m_items.size()));
}

HRESULT NamesCollection::get_Item(UINT index, TMK::IAFS_Name** out_item) {
    TRACE_ENTRY("NamesCollection::get_Item");
    CHECK_RETURN(out_item != nullptr, E_POINTER);
    *out_item = nullptr;
    CHECK_RETURN(index < m_items.size(), E_INVALIDARG);
    *out_item = m_items[index].copy();
    TRACE_RETURN(S_OK);
}

HRESULT NamesCollection::Add(TMK::IAFS_Name* item) {
    TRACE_ENTRY("NamesCollection::Add");
    try {
        CHECK_RETURN(item != nullptr, E_INVALIDARG);
        m_items.emplace_back(item);
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}

namespace {

class NamesEnumerator final : public cCoEnumItemsT<NamesEnumerator, IEnumNames, TMK::IAFS_Name> {
public:
    using cCoEnumItemsT::cCoEnumItemsT;
};

}  // namespace

HRESULT NamesCollection::get__NewEnum(IUnknown** out_enumerator) {
    TRACE_ENTRY("NamesCollection::get__NewEnum");
    try {
        CHECK_RETURN(out_enumerator != nullptr, E_POINTER);
        *out_enumerator = MakeObject<NamesEnumerator>(m_items).detach();
        TRACE_RETURN(S_OK);
    }
    HOST_BOUNDARY(nullptr)
}
