#include "host/cli/run/command_table.h"

#include <limits>

namespace cli {

namespace {

constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

// What may be asked after a save and at a close.
#define SAVE_PROMPTS                                                                                     \
    "sp.msg.outdatedFileOnWrite.question", "sp.msg.askForCheckInOnClose", "sp.msg.checkInDialogMessage", \
        "sp.msg.askForDiscardCheckOutOnClose", "sp.msg.CheckInRequiredProperties"

#define LIBRARY "\"https://host/sites/team/Shared Documents"
#define DOCUMENT LIBRARY "/a.pdf\""

}  // namespace

const std::vector<OptionRow>& CommonOptions() {
    static const std::vector<OptionRow> rows{
        {"profile", "DIR", "where places, settings and local copies are kept (default: your config folder)"},
        {"plugin", "FILE", "the plug-in to load (default: SharePoint.tkp beside this program)"},
        {"user", "NAME", "sign in as this user when the server asks"},
        {"password-stdin", nullptr, "the password is the first line of standard input"},
        {"json", nullptr, "one JSON document on standard output"},
        {"yes", nullptr, "press the default button of every prompt"},
        {"answer", "ID=BUTTON",
         "answer the prompt of that text id: a button's text id or number, then\n"
         "optionally ,check ,radio=N ,text=TEXT (may be repeated)"},
        {"language", "CODE", "the language of prompts, as de (default: en)"},
        {"prompt-log", "FILE", "append every prompt and its answer, a line of JSON each"},
        {"log-level", "N", "trace of the plug-in for this run, 0 (none) to 4 (everything)"},
        {"web-view-script", "FILE", "a script that stands in for the browser of a sign-in, for tests"},
        {"check-leaks", nullptr, "fail when an object is still alive at the end"},
        {"version", nullptr, "which sphost this is"},
        {"help", nullptr, "this text", 'h'},
    };
    return rows;
}

const std::vector<OptionRow>& OwnOptions() {
    static const std::vector<OptionRow> rows{
        {"api", "KIND", "modern (default), or compatible for SharePoint 2013 and older"},
        {"token-stdin", nullptr, "an access token is the first line of standard input"},
        {"authority", "URL", "the sign-in authority of this site's server (spdevserver prints its own)"},
        {"sign-in", "WAY",
         "code (in your browser) or device (a code to enter on a page); default: what fits"},
        {"client-id", "ID", "the application id to sign in with"},
        {"redirect", "URL", "where the browser comes back to, as registered for the application id"},
        {"insecure-http", nullptr, "let access tokens go to this server over plain http"},
        {"check-in", "TYPE", "check in afterwards: minor, major or overwrite"},
        {"type", "TYPE", "minor, major or overwrite"},
        {"comment", "TEXT", "the comment of the check-in"},
        {"set", "NAME=VALUE", "fill this library column before (may be repeated)"},
        {"keep", nullptr, "keep the document checked out"},
        {"send", nullptr, "send what was not sent; --yes overwrites newer versions on the server"},
        {"drop", nullptr, "throw away what was not sent"},
        {"all", nullptr, "with --drop: everything, without a question"},
        {"save", "FILE", "copy what was not sent of this document to a file; - is standard output"},
        {"server", nullptr, "the server's version, also while something of one's own is unsent"},
        {"no-clobber", nullptr, "never overwrite a file"},
        {"force", nullptr, "overwrite also a file that is newer than the server's"},
        {"clear", nullptr, "drop every local copy that the server has as well"},
        {"max-size", "SIZE", "keep at most this much, as 500M or 2G (default: 2G)"},
        {"max-age", "DAYS", "keep what was opened within so many days (default: 30)"},
        {"wait", nullptr, "wait until you say that the editing is done, not only for the command's end"},
    };
    return rows;
}

const std::vector<CommandRow>& Commands() {
    static const std::vector<CommandRow> rows{
        {"place add",
         "URL",
         "adds a site as a place and signs in to it",
         1,
         1,
         {"api", "token-stdin", "authority", "client-id", "redirect", "sign-in", "insecure-http"},
         "sphost place add https://host/sites/team",
         {}},
        {"place list", "", "lists the places", 0, 0, {}, "sphost place list --json", {}},
        {"place remove",
         "URL",
         "forgets a place and its sign-in",
         1,
         1,
         {},
         "sphost place remove https://host/sites/team",
         {}},
        {"ls", "URL", "lists a folder: kind, size, modified, name", 1, 1, {}, "sphost ls " LIBRARY "\"", {}},
        {"stat", "URL", "tells about one file or folder", 1, 1, {}, "sphost stat " DOCUMENT, {}},
        {"get",
         "URL [FILE]",
         "copies a document out; - is standard output",
         1,
         2,
         {"server", "no-clobber", "force"},
         "sphost get " DOCUMENT " /home/alice/",
         {"sphost.replaceFile.question"}},
        {"put",
         "FILE URL",
         "creates or replaces a document; - is standard input",
         2,
         2,
         {"check-in", "comment"},
         "sphost put a.pdf " DOCUMENT " --check-in major --comment Final",
         {SAVE_PROMPTS}},
        {"edit",
         "URL -- CMD [ARG...]",
         "runs CMD with the document's local file, at the end or for {}, and saves what it changed\n"
         "(in a shell command it is \"$1\": sh -c 'CMD \"$1\"' sh)",
         1,
         1,
         {"wait"},
         "sphost edit " DOCUMENT " -- qpdf --replace-input --rotate=+90:1",
         {"sp.msg.askForCheckOutOnOpen", "sp.msg.warnOnOpenWithOthersCheckOut",
          "sp.msg.warnOnOpenWithNoEditPermissions", "sphost.editDone.question",
          "sphost.endEarlierCheckOut.question", SAVE_PROMPTS}},
        {"checkout",
         "URL",
         "checks a document out to you",
         1,
         1,
         {},
         "sphost checkout " DOCUMENT,
         {"sp.msg.outdatedFileOnCheckout.question", "sp.msg.outdatedModifiedFileOnCheckout.question"}},
        {"checkin",
         "URL",
         "checks a document in",
         1,
         1,
         {"type", "comment", "keep", "set"},
         "sphost checkin --type major --comment Done --set Topic=Budget " DOCUMENT,
         {"sp.msg.checkInDialogMessage", "sp.msg.CheckInRequiredProperties"}},
        {"discard", "URL", "gives a check-out up", 1, 1, {}, "sphost discard " DOCUMENT, {}},
        {"fields",
         "URL [NAME=VALUE...]",
         "shows and sets the library columns of a document",
         1,
         kAnyNumber,
         {},
         "sphost fields " DOCUMENT " Topic=\"Third quarter\" Due=2026-06-30",
         {}},
        {"mkdir", "URL", "makes a folder", 1, 1, {}, "sphost mkdir " LIBRARY "/2026\"", {}},
        {"rm",
         "URL",
         "deletes a file or a folder with all in it",
         1,
         1,
         {},
         "sphost rm " DOCUMENT,
         {"sphost.removeFolder.question"}},
        {"mv", "URL URL", "moves a file", 2, 2, {}, "sphost mv " DOCUMENT " " LIBRARY "/Old/b.pdf\"", {}},
        {"cp", "URL URL", "copies a file", 2, 2, {}, "sphost cp " DOCUMENT " " LIBRARY "/Old\"", {}},
        {"rename",
         "URL URL",
         "renames a file or a folder",
         2,
         2,
         {},
         "sphost rename " LIBRARY "/2026\" " LIBRARY "/Old\"",
         {}},
        {"prefs",
         "[NAME[=VALUE]]",
         "shows and changes preferences",
         0,
         1,
         {},
         "sphost prefs on_after_save=24",
         {}},
        {"recover",
         "[URL]",
         "lists, sends, saves or drops what was not sent",
         0,
         1,
         {"send", "save", "drop", "all"},
         "sphost recover --send",
         {"sphost.dropAll.question", "sphost.giveUpCheckOut.question", SAVE_PROMPTS}},
        {"cache",
         "",
         "tells what local copies there are, drops them, and limits them",
         0,
         0,
         {"clear", "max-size", "max-age"},
         "sphost cache --max-size 500M --max-age 7",
         {}},
        {"detect",
         "URL",
         "tells whether an address belongs to SharePoint at all",
         1,
         1,
         {},
         "sphost detect https://host/sites/team",
         {}},
        {"signout",
         "URL",
         "signs out and forgets the sign-in",
         1,
         1,
         {},
         "sphost signout https://host/sites/team",
         {}},
    };
    return rows;
}

const std::vector<PromptRow>& Prompts() {
    static const std::vector<PromptRow> rows{
        {"sp.msg.askForCheckOutOnOpen", "sp.btn.open, sp.btn.openWithCheckOut, btn.cancel"},
        {"sp.msg.warnOnOpenWithOthersCheckOut", "btn.ok"},
        {"sp.msg.warnOnOpenWithNoEditPermissions", "btn.ok"},
        {"sp.msg.outdatedFileOnWrite.question", "sp.btn.overwrite, sp.btn.cancelSaving"},
        {"sp.msg.outdatedFileOnCheckout.question", "sp.btn.reloadAndCheckOut, sp.btn.cancelCheckOut"},
        {"sp.msg.outdatedModifiedFileOnCheckout.question",
         "sp.btn.reloadLostYourChangesAndCheckOut, sp.btn.cancelOutdatedCheckOut"},
        {"sp.msg.askForCheckInOnClose",
         "sp.btn.checkIn, sp.btn.checkInAndKeepCkeckedOut, sp.btn.keepCkeckedOut"},
        {"sp.msg.checkInDialogMessage",
         "sp.btn.checkIn, sp.btn.checkInAndKeepCkeckedOut, sp.btn.keepCkeckedOut"},
        {"sp.msg.CheckInRequiredProperties", "btn.ok"},
        {"sp.msg.askForDiscardCheckOutOnClose", "sp.btn.discardCheckOut, sp.btn.keepCkeckedOut"},
        {"sphost.editDone.question", "done, cancel"},
        {"sphost.endEarlierCheckOut.question", "discard, keep"},
        {"sphost.giveUpCheckOut.question", "discard, keep"},
        {"sphost.dropAll.question", "drop, keep"},
        {"sphost.removeFolder.question", "delete, keep"},
        {"sphost.replaceFile.question", "overwrite, keep"},
    };
    return rows;
}

}  // namespace cli
