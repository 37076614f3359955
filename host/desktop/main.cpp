// sphost-editor: documents of SharePoint sites in a window.
#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>
#include <QTimer>
#include <clocale>
#include <cstdio>

#include "host/base/environment.h"
#include "host/base/interrupt.h"
#include "host/desktop/dialogs/dialog_views.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/window/main_window.h"

namespace {

constexpr int kInterruptCheckMs = 200;

struct Options {
    host::fs::path profile;
    host::fs::path plugin;
    host::fs::path browser_script;
    QString language;
    bool menus = false;
    QStringList documents;
};

Options ReadOptions(const QApplication& application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        "Shows and edits PDF documents of SharePoint sites and of this computer.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption profile("profile", "The folder of places, settings and local copies.", "DIR");
    const QCommandLineOption plugin("plugin", "The plug-in, instead of the one beside the program.", "FILE");
    const QCommandLineOption menus("menus", "A menu bar and a tool bar instead of the ribbon.");
    const QCommandLineOption language("language", "The language of this run, as de.", "CODE");
    QCommandLineOption script("web-view-script", "A script that plays the browser, for tests.", "FILE");
    script.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOptions({profile, plugin, menus, language, script});
    parser.addPositionalArgument("document", "What to open: addresses of documents, or files.",
                                 "[URL|FILE...]");
    parser.process(application);
    Options options;
    options.profile = parser.isSet(profile) ? host::fs::path(parser.value(profile).toStdString())
                                            : host::DefaultProfileFolder();
    options.plugin = parser.isSet(plugin) ? host::fs::absolute(parser.value(plugin).toStdString())
                                          : host::BesideProgram("SharePoint.tkp");
    options.browser_script = parser.value(script).toStdString();
    options.language = parser.value(language);
    options.menus = parser.isSet(menus);
    options.documents = parser.positionalArguments();
    return options;
}

int Run(QApplication& application, const Options& options) {
    desktop::DesktopFrontEnd front_end(
        {{options.browser_script, host::BrowserProgramPath()}, desktop::MakeDialogViews});
    host::Host host(front_end, options.profile);
    host.LoadPlugin(options.plugin);
    int status = 0;
    {
        desktop::Editor editor(host, front_end, host::BesideProgram("languages"));
        if (!options.language.isEmpty()) editor.language.Use(options.language, false);
        QApplication::setApplicationDisplayName(QObject::tr("PDF Editor"));
        const bool menus = options.menus || editor.state.Flag("menus", false);
        desktop::MainWindow window(editor, menus ? desktop::Bars::menus : desktop::Bars::ribbon);
        window.show();
        for (const QString& document : options.documents) window.OpenAddress(document);
        QTimer::singleShot(0, &window, [&] { window.OfferUnsent(); });
        QTimer interrupts;
        QObject::connect(&interrupts, &QTimer::timeout, &application, [&] {
            if (host::InterruptFlag()) application.quit();
        });
        interrupts.start(kInterruptCheckMs);
        status = application.exec();
        window.KeepUnsaved();
    }
    return status;
}

// Without a display Qt would end the process with an abort. False when there is nothing to show a window on.
bool PrepareDisplay(int count, char** words) {
    if (host::IsAnySet({"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})) return true;
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        const bool only_prints = word == "--help" || word == "-h" || word == "--version" || word == "-v";
        if (only_prints) return qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    return false;
}

}  // namespace

int main(int count, char** words) {
    if (!PrepareDisplay(count, words)) {
        std::fputs("sphost-editor: there is no display to open a window on; set DISPLAY or WAYLAND_DISPLAY\n",
                   stderr);
        return 1;
    }
    QApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    QApplication::setApplicationName("sphost-editor");
    QApplication::setApplicationVersion(SP_VERSION);
    host::InstallInterruptHandler();
    try {
        return Run(application, ReadOptions(application));
    } catch (const host::Failure& failure) {
        std::fprintf(stderr, "sphost-editor: %s (%s)\n", failure.what(),
                     host::FormatResult(failure.code()).c_str());
        QMessageBox::critical(nullptr, {}, desktop::ToQt(failure.what()));
        return 1;
    }
}
