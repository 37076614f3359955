// Which names a dialog shows, and the combo box of file types, which completes typed names too. Main thread.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hostapi/itmk.h"
#include "platform/com_ptr.h"

class NamesFilter {
public:
    virtual ~NamesFilter() = default;
    virtual bool IsValid(TMK::IAFS_Name* name) = 0;
};

// By extension. The item of the combo box that is selected decides.
class FilesExtensionFilter final : public NamesFilter {
public:
    using Extensions = std::vector<std::u16string>;  // without dots; "*" alone is any

    FilesExtensionFilter(TMK::IAFS_FileSys* file_system, TMK::IUIX_Combo* combo)
        : m_file_system(file_system), m_combo(combo) {}
    ~FilesExtensionFilter() override;
    FilesExtensionFilter(const FilesExtensionFilter&) = delete;
    FilesExtensionFilter& operator=(const FilesExtensionFilter&) = delete;

    void Clear();
    // Fills the box from "Title|*.a;*.b|...", and selects the first item.
    void SetFilter(const std::u16string& filter_text);
    // A name whose title can't be had is valid.
    bool IsValid(TMK::IAFS_Name* name) override;
    bool IsValidTitle(const std::u16string& title) const;
    // Completes a typed name; whether that has changed it. `default_extension` may be empty.
    bool AddFilterExtension(std::u16string& name, const std::u16string& default_extension) const;

private:
    const Extensions* GetItem(LONG index) const;
    const Extensions* GetSelected() const;  // null also for any extension
    bool IsOfAnotherFilter(const std::u16string& extension, const Extensions* selected) const;

    ComPtr<TMK::IAFS_FileSys> m_file_system;
    ComPtr<TMK::IUIX_Combo> m_combo;
};

// The name without its extension, and what is behind the dot.
struct SplitName {
    std::u16string base;
    std::u16string extension;
};
SplitName SplitExtension(const std::u16string& name);

// The filters that a dialog offers when its caller names none.
std::u16string MakeFilterText(TMK::ITMK_Inst& inst, bool open);
