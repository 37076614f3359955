// Any text through both parsers of dates.
#include <cstdint>
#include <cstdlib>

#include "base/text/encoding.h"
#include "base/text/iso8601.h"
#include "sharepoint/reading.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::u16string text = FromUtf8({reinterpret_cast<const char*>(data), size});
    const uint64_t time = SharePoint2010::Utility::ParseDateTimeIso8601(text, Log::none);
    // Text that follows a date doesn't change it.
    if (time != 0 && SharePoint2010::Utility::ParseDateTimeIso8601(text + u"Z", Log::none) != time) abort();
    SYSTEMTIME fields{};
    if (SUCCEEDED(::ParseDateTimeIso8601(text, &fields)) && (fields.wMonth > 12 || fields.wHour > 23)) {
        abort();
    }
    return 0;
}
