// What the host holds while it looks at a folder or a file. Each is used by one thread at a time.
#pragma once

#include <memory>
#include <vector>

#include "afs/names/name.h"
#include "base/scaffolding.h"
#include "hostapi/iafs.h"

// A folder's children, read once when it is made.
class EnumFolder final : public cCoClassDispatchT<EnumFolder, TMK::IAFS_EnumFolder> {
public:
    // Throws Exception when there is no such folder.
    explicit EnumFolder(Name& name);

    HRESULT get_Name(TMK::IAFS_Name** out_name) override;
    HRESULT Next(TMK::IAFS_EnumFolderItem** out_enum_item) override;
    HRESULT Reset(DWORD reserved, TMK::ITMK_CancelFlag* cancel_flag) override;

    // Why the listing could not be read and is empty for that; empty for one that could.
    const std::u16string& GetUnreadReason() const { return m_unread_reason; }

private:
    ComPtr<Name> m_name;
    std::vector<std::shared_ptr<SharePoint::Object>> m_items;
    std::u16string m_unread_reason;
    size_t m_next = 0;
};

namespace Afs {

// What is known of the item behind a name, for any interface that shows it.
class ItemProperties {
public:
    // Throws HResultException 0x80070490 when there is no such item.
    explicit ItemProperties(Name& name);

    HRESULT GetTitle(BSTR* out_title) const;
    HRESULT GetAttributes(DWORD* out_attributes) const;
    HRESULT GetSize(ULONGLONG* out_size) const;
    HRESULT GetCreationTime(ULONGLONG* out_time) const;
    HRESULT GetLastWriteTime(ULONGLONG* out_time) const;
    HRESULT GetProp() const;
    HRESULT GetName(TMK::IAFS_Name** out_name) const;

private:
    const SharePoint::Information& Information() const { return m_name->GetObject()->GetInformation(); }

    ComPtr<Name> m_name;
};

// The properties as slots of an interface.
template <typename Class, typename Interface>
class FileInfoT : public cCoClassDispatchT<Class, Interface> {
public:
    explicit FileInfoT(Name& name) : m_properties(name) {}

    HRESULT get_Title(BSTR* out_title) override { return m_properties.GetTitle(out_title); }
    HRESULT get_Attributes(DWORD* out_attributes) override {
        return m_properties.GetAttributes(out_attributes);
    }
    HRESULT get_Size(ULONGLONG* out_size) override { return m_properties.GetSize(out_size); }
    HRESULT get_CreationTime(ULONGLONG* out_time) override { return m_properties.GetCreationTime(out_time); }
    HRESULT get_LastAccessTime(ULONGLONG* out_time) override { return this->get_LastWriteTime(out_time); }
    HRESULT get_LastWriteTime(ULONGLONG* out_time) override {
        return m_properties.GetLastWriteTime(out_time);
    }
    HRESULT get_Prop(LPCWSTR, VARIANT*) override { return m_properties.GetProp(); }

protected:
    ItemProperties m_properties;
};

}  // namespace Afs

class FileInfo final : public Afs::FileInfoT<FileInfo, TMK::IAFS_FileInfo> {
public:
    using FileInfoT::FileInfoT;
};

class EnumFolderItem final : public Afs::FileInfoT<EnumFolderItem, TMK::IAFS_EnumFolderItem> {
public:
    using FileInfoT::FileInfoT;
    HRESULT get_Name(TMK::IAFS_Name** out_name) override { return m_properties.GetName(out_name); }
};

// A list of names for the host.
class NamesCollection final : public cCoClassDispatchT<NamesCollection, TMK::IAFS_NamesCollection> {
public:
    static HRESULT Create(TMK::IAFS_NamesCollection** out_object);

    HRESULT get_Count(UINT* out_count) override;
    HRESULT get_Item(UINT index, TMK::IAFS_Name** out_item) override;
    HRESULT Add(TMK::IAFS_Name* item) override;
    HRESULT get__NewEnum(IUnknown** out_enumerator) override;

private:
    std::vector<ComPtr<TMK::IAFS_Name>> m_items;
};

// Steps through a copy of a list of names.
struct IEnumNames : IUnknown {
    static constexpr IID kIid{0x5D08E2B6, 0x7A14, 0x4F93, {0xB2, 0x6C, 0x3F, 0x91, 0x08, 0xD4, 0x7E, 0x5A}};
    // S_FALSE when fewer than `count` were left; `out_fetched` may be null.
    virtual HRESULT Next(UINT count, TMK::IAFS_Name** out_items, UINT* out_fetched) = 0;
    virtual HRESULT Skip(UINT count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumNames** out_clone) = 0;
};
