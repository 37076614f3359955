// A document of a site as the editor has it open: its handle, its local copy, and the jobs that open, save
// and close it. The jobs run on workers, one at a time for a document; the rest is for the main thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "host/jobs/job.h"

namespace desktop {

class SiteDocument {
public:
    // Opens the document at an address as a person gives it, with every question of the plug-in, and fetches
    // it. Throws a JobError.
    static std::unique_ptr<SiteDocument> Open(host::Job& job, const std::string& address);

    TMK::IAFS_File* file() const { return m_file.get(); }
    const std::u16string& url() const { return m_url; }
    std::u16string name() const;
    const host::fs::path& local_path() const { return m_local_path; }
    // The local copy holds changes of an earlier run, which were not sent.
    bool has_unsent() const { return m_has_unsent; }

    // Somebody gave up before it was shown: a check-out that opening has made is given back.
    void GiveUp(host::Job& job);
    // Sign-ins of this thread's next calls are for its site.
    void UseSite(host::Host& host) const { host.SetSite(m_site_url, m_site_user); }

    // Fetches the present version after the plug-in has dropped the local copy.
    void Fetch(host::Job& job);

    // Puts what `write` writes to the given path into the local copy and sends it. The local copy keeps it
    // when the sending fails. Throws a JobError.
    void Save(host::Job& job, const std::function<void(const host::fs::path&)>& write);

    // Whether closing could give up a check-out that was there before the document was opened.
    bool HasEarlierCheckOut(host::Job& job) const;
    enum class Closing { by_preferences, keep_check_out, discard_check_out };
    // What was not sent is dropped with `drop_unsent`. The handle is released only when this succeeds.
    void Close(host::Job& job, Closing closing, bool drop_unsent);

private:
    SiteDocument() = default;

    std::string m_what;  // "open URL", for errors
    std::u16string m_url;
    std::u16string m_site_url;
    std::u16string m_site_user;
    std::string m_key_url;  // UTF-8, for the cache
    ComPtr<TMK::IAFS_File> m_file;
    host::fs::path m_local_path;
    bool m_was_checked_out = false;
    bool m_is_saved = false;
    bool m_has_unsent = false;
};

}  // namespace desktop
