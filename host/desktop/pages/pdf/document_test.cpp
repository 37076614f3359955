#include "host/desktop/pages/pdf/document.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QSignalSpy>
#include <qpdf/QPDFAcroFormDocumentHelper.hh>
#include <set>

#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/pages/testing/sample_files.h"

namespace pdf {
namespace {

using pages::PagesOf;

class Documents : public testing::Test {
protected:
    Document& Open(const QString& path, const QString& password = {}) {
        m_document = std::make_unique<Document>(Source::Open(
            path, {.ask_password = [&](const PasswordQuestion&) { return std::optional(password); }}));
        return *m_document;
    }
    QStringList Saved(Document& document) {
        document.SaveTo(m_files.Path("saved.pdf"));
        return PagesOf(m_files.Path("saved.pdf"));
    }
    QByteArray Bytes(const QString& name) {
        QFile file(m_files.Path(name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        return file.readAll();
    }

    pages::SampleFiles m_files;
    std::unique_ptr<Document> m_document;
};

TEST_F(Documents, SaveWhatWasEdited) {
    Document& document = Open(m_files.Write("a.pdf", {{"A"}, {"B"}, {"C"}, {"D", {200, 300}, 90}}));
    document.Rotate({0, 3}, 90);
    document.Move({3, 1}, 0);
    EXPECT_EQ(Saved(document), QStringList({"B", "D/180", "A/90", "C"}));
    document.Duplicate({1, 3});
    document.Rotate({1}, -90);
    EXPECT_EQ(Saved(document), QStringList({"B", "D/90", "D/180", "A/90", "C", "C"}));
    document.Insert(Source::Open(m_files.Write("b.pdf", {{"X"}, {"Y"}})), 1);
    document.Delete({0, 4});
    EXPECT_EQ(Saved(document), QStringList({"X", "Y", "D/90", "A/90", "C", "C"}));
}

TEST_F(Documents, KeepOnlyPagesOfAnotherFile) {
    Document& document = Open(m_files.WriteNumbered("a.pdf", 2));
    document.Insert(Source::Open(m_files.Write("b.pdf", {{"X"}})), 2);
    document.Delete({0, 1});
    EXPECT_EQ(Saved(document), QStringList({"X"}));
}

TEST_F(Documents, UndoAndRedoEachEdit) {
    Document& document = Open(m_files.Write("a.pdf", {{"A"}, {"B"}, {"C"}}));
    std::vector<QList<Page>> states{document.Pages()};
    const auto note = [&] { states.push_back(document.Pages()); };
    document.Rotate({1}, 180), note();
    document.Delete({0}), note();
    document.Move({1}, 0), note();
    document.Duplicate({0}), note();
    document.Insert(Source::Open(m_files.WriteNumbered("b.pdf", 2)), 0), note();
    for (std::size_t step = states.size() - 1; step > 0; --step) {
        EXPECT_EQ(document.Pages(), states[step]);
        document.Undo().undo();
    }
    EXPECT_FALSE(document.Undo().canUndo());
    EXPECT_EQ(document.Pages(), states[0]);
    for (int step = 1; step < 6; ++step) document.Undo().redo();
    EXPECT_EQ(document.Pages(), states.back());
}

TEST_F(Documents, AreModifiedUnlessTheirStateIsTheSavedOne) {
    Document& document = Open(m_files.WriteNumbered("a.pdf", 3));
    QSignalSpy told(&document, &Document::ModifiedChanged);
    document.Rotate({0}, 90);
    EXPECT_TRUE(document.IsModified());
    const State written = document.Snapshot();
    document.Rotate({0}, 90);
    document.MarkSaved(written);
    EXPECT_TRUE(document.IsModified()) << "edited while a worker saved";
    document.Undo().undo();
    EXPECT_FALSE(document.IsModified());
    document.Undo().undo();
    EXPECT_TRUE(document.IsModified());
    document.Delete({1});
    EXPECT_TRUE(document.IsModified()) << "as many steps as when it was saved, but other ones";
    EXPECT_EQ(told.size(), 3);
    document.Rotate({0}, 0);
    document.Move({0}, 1);
    EXPECT_EQ(document.Undo().count(), 1) << "what changes nothing is no step";
}

TEST_F(Documents, SaveIntoTheFileThatTheyWereOpenedFrom) {
    const QString path = m_files.WriteNumbered("a.pdf", 3);
    Document& document = Open(path);
    document.Delete({0});
    document.SaveTo(path);
    document.Move({1}, 0);
    document.SaveTo(path);
    EXPECT_EQ(PagesOf(path), QStringList({"Page 3", "Page 2"}));
}

TEST_F(Documents, LeaveTheOldFileWhenSavingFailsOrIsCancelled) {
    Document& document = Open(m_files.WriteNumbered("a.pdf", 3));
    document.Delete({0});
    m_files.WriteBytes("old.pdf", "old");
    document.SaveTo(m_files.Path("old.pdf"), {.progress = [](int) { return false; }});
    EXPECT_TRUE(document.IsModified());
    EXPECT_EQ(Bytes("old.pdf"), "old");
    try {
        document.SaveTo(m_files.Path("nowhere/new.pdf"));
        ADD_FAILURE() << "saved in a folder that doesn't exist";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Sentence(), "new.pdf could not be saved: No such file or directory");
    }
    EXPECT_TRUE(document.IsModified());
}

TEST_F(Documents, WriteTheSameBytesEachTimeWhenAsked) {
    Document& document = Open(m_files.WriteNumbered("a.pdf", 3));
    document.Move({2}, 0);
    for (const char* name : {"1.pdf", "2.pdf"})
        document.SaveTo(m_files.Path(name), {.deterministic_id = true});
    EXPECT_EQ(Bytes("1.pdf"), Bytes("2.pdf"));
}

// Gives a page a bookmark and a form field of its name.
void AddBookmarkAndField(QPDF& document, QPDFObjectHandle page, const std::string& name) {
    QPDFObjectHandle field = document.makeIndirectObject(
        QPDFObjectHandle::parse("<< /Type /Annot /Subtype /Widget /FT /Tx /Rect [0 0 50 20] /T (" + name +
                                ") /V (typed in " + name + ") >>"));
    field.replaceKey("/P", page);
    page.replaceKey("/Annots", QPDFObjectHandle::newArray({field}));
    QPDFObjectHandle root = document.getRoot();
    if (!root.hasKey("/AcroForm")) {
        root.replaceKey("/AcroForm", QPDFObjectHandle::parse("<< /Fields [] >>"));
        QPDFObjectHandle item = document.makeIndirectObject(QPDFObjectHandle::parse("<< /Title (Start) >>"));
        item.replaceKey("/Dest", QPDFObjectHandle::newArray({page, QPDFObjectHandle::newName("/Fit")}));
        QPDFObjectHandle outlines = document.makeIndirectObject(QPDFObjectHandle::parse("<< /Count 1 >>"));
        outlines.replaceKey("/First", item);
        outlines.replaceKey("/Last", item);
        item.replaceKey("/Parent", outlines);
        root.replaceKey("/Outlines", outlines);
    }
    root.getKey("/AcroForm").getKey("/Fields").appendItem(field);
}

std::string AllOf(const QString& path) {
    QPDF parsed;
    parsed.processFile(path.toStdString().c_str());
    std::string all;
    for (QPDFObjectHandle& object : parsed.getAllObjects()) {
        all += object.unparseResolved();
        if (!object.isStream()) continue;
        const auto data = object.getStreamData(qpdf_dl_generalized);
        all.append(reinterpret_cast<const char*>(data->getBuffer()), data->getSize());
    }
    return all;
}

TEST_F(Documents, LeaveNothingOfADeletedPageInTheFile) {
    const QString path = m_files.Write("a.pdf", {{"Salaries"}, {"Menu"}}, [](QPDF& document) {
        AddBookmarkAndField(document, document.getAllPages()[0], "raise");
        AddBookmarkAndField(document, document.getAllPages()[1], "soup");
    });
    ASSERT_NE(AllOf(path).find("Salaries"), std::string::npos);
    Document& document = Open(path);
    document.Delete({0});
    EXPECT_EQ(Saved(document), QStringList({"Menu"}));
    const std::string all = AllOf(m_files.Path("saved.pdf"));
    EXPECT_EQ(all.find("Salaries"), std::string::npos);
    EXPECT_EQ(all.find("raise"), std::string::npos);
    EXPECT_NE(all.find("soup"), std::string::npos);
    EXPECT_NE(all.find("Start"), std::string::npos) << "bookmarks stay";
}

TEST_F(Documents, GiveACopiedPageFormFieldsOfItsOwn) {
    const auto with_field = [](QPDF& document) {
        AddBookmarkAndField(document, document.getAllPages()[0], "name");
    };
    Document& document = Open(m_files.Write("a.pdf", {{"A"}}, with_field));
    document.Duplicate({0});
    document.Insert(Source::Open(m_files.Write("b.pdf", {{"B"}}, with_field)), 2);
    EXPECT_EQ(Saved(document), QStringList({"A", "A", "B"}));
    QPDF parsed;
    parsed.processFile(m_files.Path("saved.pdf").toStdString().c_str());
    std::set<std::string> names;
    for (QPDFFormFieldObjectHelper& field : QPDFAcroFormDocumentHelper(parsed).getFormFields())
        names.insert(field.getFullyQualifiedName());
    EXPECT_EQ(names.size(), 3u);
}

TEST_F(Documents, KeepTitleAndAuthorInAnyScript) {
    Document& document = Open(m_files.WriteNumbered("a.pdf", 1));
    document.SetInfo("Übersicht – 計画", "Ann");
    document.SaveTo(m_files.Path("titled.pdf"));
    EXPECT_FALSE(document.IsModified());
    Document& again = Open(m_files.Path("titled.pdf"));
    EXPECT_EQ(again.Title(), "Übersicht – 計画");
    again.SetInfo({}, again.Author());
    again.SaveTo(m_files.Path("untitled.pdf"));
    EXPECT_EQ(Open(m_files.Path("untitled.pdf")).Title(), QString());
    EXPECT_EQ(m_document->Author(), "Ann");
}

TEST_F(Documents, KeepTheTitleInXmpAsWell) {
    const QString path = m_files.Write("a.pdf", {{"A"}}, [](QPDF& document) {
        QPDFObjectHandle metadata = QPDFObjectHandle::newStream(
            &document,
            "<?xpacket begin='' id='W5M0'?><x:xmpmeta xmlns:x='adobe:ns:meta/'><rdf:RDF><rdf:Description "
            "pdf:Producer='Kept'><dc:title><rdf:Alt><rdf:li xml:lang='x-default'>Old</rdf:li><rdf:li "
            "xml:lang='de'>Alt</rdf:li></rdf:Alt></dc:title><dc:creator><rdf:Seq><rdf:li>Bob</rdf:li></"
            "rdf:Seq>"
            "</dc:creator></rdf:Description></rdf:RDF></x:xmpmeta><?xpacket end='w'?>");
        document.getRoot().replaceKey("/Metadata", metadata);
    });
    Document& document = Open(path);
    document.SetInfo("Ann & Bob", "Ann");
    document.SaveTo(m_files.Path("saved.pdf"));
    const std::string all = AllOf(m_files.Path("saved.pdf"));
    EXPECT_NE(all.find("x-default\">Ann &amp; Bob</rdf:li></rdf:Alt>"), std::string::npos) << all;
    EXPECT_NE(all.find("<rdf:li>Ann</rdf:li>"), std::string::npos);
    EXPECT_NE(all.find("Kept"), std::string::npos);
    EXPECT_NE(all.find("<?xpacket end="), std::string::npos);
}

TEST_F(Documents, StayEncipheredWhenTheyAreSaved) {
    const QString path = m_files.Write("a.pdf", {{"A"}, {"B"}}, {}, [](QPDFWriter& writer) {
        pages::Encipher(writer, "user", "owner", false);
    });
    Document& document = Open(path, "owner");
    document.Move({1}, 0);
    document.SaveTo(m_files.Path("saved.pdf"), {.deterministic_id = true});
    EXPECT_EQ(PagesOf(m_files.Path("saved.pdf"), "user"), QStringList({"B", "A"}));
    EXPECT_THROW(Source::Open(m_files.Path("saved.pdf")), Failure);
    EXPECT_FALSE(Open(m_files.Path("saved.pdf"), "user").CanEditPages());
}

TEST_F(Documents, ObeyWhatTheAuthorAllows) {
    const QString path = m_files.Write("a.pdf", {{"A"}, {"B"}}, {}, [](QPDFWriter& writer) {
        pages::Encipher(writer, "user", "owner", false);
    });
    const SourcePtr other =
        Source::Open(path, {.ask_password = [](const auto&) { return std::optional(QString("user")); }});
    Document& document = Open(path, "user");
    EXPECT_EQ(document.WhyNotEditable(),
              "The author of a.pdf doesn't allow changes without the owner's password.");
    EXPECT_THROW(document.Delete({0}), Failure);
    EXPECT_THROW(document.Rotate({0}, 90), Failure);
    EXPECT_THROW(document.SetInfo("T", "A"), Failure);
    EXPECT_FALSE(document.CanCopy());
    EXPECT_FALSE(document.CanPrint());
    EXPECT_THROW(Open(m_files.WriteNumbered("b.pdf", 1)).Insert(other, 0), Failure);
}

TEST_F(Documents, CanBeReadOnlyWhileRestricted) {
    Document& document = Open(m_files.WriteNumbered("a.pdf", 2));
    document.Rotate({0}, 90);
    document.SetRestricted(true);
    EXPECT_THROW(document.Rotate({0}, 90), Failure);
    EXPECT_THROW(document.Insert(Source::Open(m_files.WriteNumbered("b.pdf", 1)), 0), Failure);
    EXPECT_TRUE(document.CanCopy());
    EXPECT_TRUE(document.CanPrint());
    document.SetRestricted(false);
    document.Rotate({0}, 90);
    EXPECT_EQ(document.Pages()[0].rotation, 180);
    EXPECT_THROW(document.Delete({0, 1}), Failure) << "one page has to stay";
}

TEST_F(Documents, WarnThatSavingBreaksASignature) {
    const QString path = m_files.Write("a.pdf", {{"A"}}, [](QPDF& document) {
        AddBookmarkAndField(document, document.getAllPages()[0], "signature");
        QPDFObjectHandle field = document.getRoot().getKey("/AcroForm").getKey("/Fields").getArrayItem(0);
        field.replaceKey("/FT", QPDFObjectHandle::newName("/Sig"));
        field.replaceKey("/V", QPDFObjectHandle::parse("<< /Type /Sig /Filter /Adobe.PPKLite >>"));
    });
    EXPECT_EQ(Open(path).SaveWarnings(),
              QStringList("a.pdf is signed. Saving it makes the signature invalid."));
    EXPECT_TRUE(Open(m_files.WriteNumbered("b.pdf", 1)).SaveWarnings().isEmpty());
}

}  // namespace
}  // namespace pdf
