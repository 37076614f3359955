// Any bytes as a page of the author service.
#include <cstdint>
#include <cstdlib>

#include "base/text/encoding.h"
#include "sharepoint/legacy/front_page.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::u16string answer = FromUtf8({reinterpret_cast<const char*>(data), size});
    const auto user = FrontPage::ReadUserName(answer);
    if (user && user->size() > answer.size()) abort();
    if (user && answer.find(u"vti_username") == std::u16string::npos) abort();
    if (FrontPage::ForbidsEditing(answer) && answer.find(u"vti_canmaybeedit") == std::u16string::npos)
        abort();
    return 0;
}
