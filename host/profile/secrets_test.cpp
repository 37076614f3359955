// The cipher, the extension that gives it to plug-ins, and its key file.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "host/base/failure.h"
#include "host/core/aux_extension.h"
#include "host/profile/cipher.h"
#include "tests/support/temp_folder.h"

namespace host {
namespace {

using testing_support::TempFolder;
using testing_support::WriteText;

HRESULT CodeOf(const Cipher& cipher, const std::string& purpose, const std::string& text) {
    try {
        cipher.Decrypt(purpose, text);
        return S_OK;
    } catch (const Failure& failure) {
        return failure.code();
    }
}

TEST(Cipher, SecretsComeBackWithTheSameKeyAlone) {
    const TempFolder folder;
    const Cipher cipher(folder / "key");
    const Cipher same(folder / "key");
    const Cipher foreign(folder / "other");
    for (const std::string& plain : {std::string(), std::string("p\0w", 3), std::string(100000, 'x')}) {
        const std::string text = cipher.Encrypt("a", plain);
        EXPECT_NE(text, cipher.Encrypt("a", plain));
        EXPECT_EQ(same.Decrypt("a", text), plain);
        EXPECT_EQ(CodeOf(foreign, "a", text), E_ACCESSDENIED);
        EXPECT_EQ(CodeOf(cipher, "b", text), E_ACCESSDENIED) << "another purpose is another key";
    }
}

TEST(Cipher, EveryChangedCharacterIsNoticed) {
    const TempFolder folder;
    const Cipher cipher(folder / "key");
    const std::string text = cipher.Encrypt("a", "secret");
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::string changed = text;
        changed[i] = changed[i] == 'A' ? 'B' : 'A';
        EXPECT_EQ(CodeOf(cipher, "a", changed), i < 5 ? E_INVALIDARG : E_ACCESSDENIED) << i;
    }
    EXPECT_EQ(CodeOf(cipher, "a", text.substr(0, text.size() - 4)), E_ACCESSDENIED);
    EXPECT_EQ(CodeOf(cipher, "a", "sph1:"), E_ACCESSDENIED);
    EXPECT_EQ(CodeOf(cipher, "a", "a plain password"), E_INVALIDARG);
}

TEST(Cipher, TheKeyFileIsTheOwnersAlone) {
    const TempFolder folder;
    struct stat status;
    {
        const Cipher cipher(folder / "key");
    }
    stat((folder / "key").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    chmod((folder / "key").c_str(), 0644);
    { const Cipher cipher(folder / "key"); }
    stat((folder / "key").c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    WriteText(folder / "key", "short");
    EXPECT_THROW(Cipher(folder / "key"), Failure);
}

TEST(AuxExtension, EnciphersStringsForAPlugin) {
    const TempFolder folder;
    int warnings = 0;
    WaitingMainThread main_thread;
    const ProgressMaker progress(main_thread, {}, nullptr);
    const auto aux = MakeAuxExtension(std::make_shared<const Cipher>(folder / "key"), progress,
                                      [&](const std::string&) { ++warnings; });
    const auto key = MakeCryptKey(u"plugin");
    ComPtr<TMK::IString> plain;
    ComPtr<TMK::IString> secret;
    ComPtr<TMK::IString> back;
    ASSERT_EQ(aux->CreateString(nullptr, plain.put()), S_OK);
    VARIANT_BOOL is_empty = VARIANT_FALSE;
    plain->get_IsEmpty(&is_empty);
    EXPECT_EQ(is_empty, VARIANT_TRUE);
    EXPECT_EQ(aux->DecryptString(key.get(), plain.get(), back.put()), E_INVALIDARG);
    plain->SetValue(u"geheim\u00DF and more", 7);
    ASSERT_EQ(aux->EncryptString(key.get(), plain.get(), secret.put()), S_OK);
    ASSERT_EQ(aux->DecryptString(key.get(), secret.get(), back.put()), S_OK);
    Bstr text;
    back->get_Value(text.put());
    EXPECT_EQ(text.view(), u"geheim\u00DF");
    EXPECT_EQ(aux->DecryptString(key.get(), plain.get(), back.put()), E_INVALIDARG);
    EXPECT_EQ(warnings, 0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(aux->DecryptString(MakeCryptKey(u"other").get(), secret.get(), back.put()), E_ACCESSDENIED);
    }
    EXPECT_EQ(warnings, 1);
    EXPECT_EQ(aux->EncryptString(nullptr, plain.get(), secret.put()), E_INVALIDARG);
    EXPECT_EQ(aux->EncryptString(key.get(), plain.get(), nullptr), E_POINTER);
}

}  // namespace
}  // namespace host
