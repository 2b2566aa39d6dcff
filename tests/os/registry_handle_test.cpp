// The operations of a handle: keys, values, enumeration.
#include <cstdlib>
#include <cstring>

#include "tests/os/registry_fixture.h"
#include "tests/support/files.h"
#include "tests/support/fresh_process.h"

namespace {

using RegistryHandle = CRegistryTest;

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

// A handle on a new key below the local machine, in a process of its own.
void WithKey(const std::function<void(CRegistry&)>& body) {
    InFreshProcess([&body] {
        CRegistry registry;
        ASSERT_EQ(
            registry.CreateKey(CRegistry::Hive(RegistryHive::LocalMachine), "A\\B/C", false, -1),
            0);
        body(registry);
    });
}

TEST_F(RegistryHandle, OpensByPath) {
    WithKey([](CRegistry& registry) {
        registry.SetValue("value", 1U);
        CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
        const struct {
            const char* Path;
            CRegistryNode* Start;
            int Result;
        } kCases[] = {
            {"HKEY_LOCAL_MACHINE\\A\\B\\C", nullptr, 0},
            {"HKEY_LOCAL_MACHINE/A/B/C/", nullptr, 0},
            {"HKEY_LOCAL_MACHINE\\A\\B/C", nullptr, 0},
            {"HKEY_LOCAL_MACHINE/A\\B", nullptr, -1},  // the key "HKEY_LOCAL_MACHINE/A"
            {"A/B", machine, 0},
            {"", machine, 0},
            {"", nullptr, 0},
            {"a", machine, -1},
            {"/A", machine, -1},
            {"A//B", machine, -1},
            {"A/B/C/value", machine, -1},
            {nullptr, machine, -1},
        };
        for (const auto& each : kCases) {
            CRegistryNode* start = each.Start;
            CRegistry handle(each.Path, start, -1);
            EXPECT_EQ(handle.Result(), each.Result) << each.Path;
            EXPECT_EQ(handle.Close(), each.Result == 0) << each.Path;
        }
    });
}

TEST_F(RegistryHandle, CreatesWhatIsMissing) {
    WithKey([](CRegistry& registry) {
        EXPECT_EQ(registry.SetValue("value", 1U), 0);
        EXPECT_EQ(registry.CreateKey(nullptr, "value", true, 0), -1);
        EXPECT_EQ(registry.CreateKey(nullptr, "D/value/", true, 0), 0);
        EXPECT_EQ(registry.CreateKey(nullptr, "", true, 0), 0);
        EXPECT_EQ(registry.CreateKey(nullptr, nullptr, true, 0), -1);
        EXPECT_EQ(registry.SetValue("inner", 2U), 0) << "the handle is on the last key";
        EXPECT_TRUE(registry.Close());
        EXPECT_FALSE(registry.Close());
        EXPECT_EQ(registry.CreateKey(nullptr, "E", true, 0), -1);
        EXPECT_NE(TreeText().find("[A]\n[B]\n[C]\nvalue=d=1\n[D]\n[value]\ninner=d=2\n\n\n\n\n\n"),
                  std::string::npos);
    });
}

TEST_F(RegistryHandle, WithoutAKeyEveryOperationFails) {
    InFreshProcess([] {
        CRegistry none;
        CRegistry deleted;
        CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
        ASSERT_EQ(deleted.CreateKey(machine, "A/B", false, -1), 0);
        ASSERT_EQ(deleted.SetValue("v", 1U), 0);
        CRegistry copy(deleted);
        CRegistryNode* kept = copy.KeepKeyHandle();
        CRegistry parent(machine);
        ASSERT_EQ(parent.DeleteKey("A"), 0);
        ASSERT_EQ(parent.DeleteKey("A"), 0) << "the entry stays";
        CRegistry onKept(kept);
        for (CRegistry* handle : {&none, &deleted, &onKept}) {
            char name[8] = "same";
            unsigned int length = sizeof name;
            unsigned int number = 7;
            std::string text;
            EXPECT_EQ(handle->QueryValue(&number, "v"), 22);
            EXPECT_EQ(handle->QueryValue(text, "v"), 22);
            EXPECT_EQ(handle->QueryValue(name, "v", &length), 22);
            EXPECT_EQ(handle->QueryValue(name, "v", length), 22);
            EXPECT_EQ(handle->GetValueSize("v"), 0);
            EXPECT_EQ(handle->GetValue("v"), nullptr);
            EXPECT_FALSE(handle->SetValue("v", Bytes("x"), 1, kRegSz));
            EXPECT_EQ(handle->SetValue("v", 1U), 22);
            EXPECT_EQ(handle->SetValue("v", "x"), 22);
            EXPECT_EQ(handle->DeleteValue("v"), 22);
            EXPECT_EQ(handle->DeleteKey("B"), 22);
            EXPECT_EQ(handle->EnumKey(name, &length, 0, nullptr, nullptr), 22);
            EXPECT_EQ(handle->EnumVal(name, &length, 0, kRegAnyValue, nullptr, nullptr), 22);
            EXPECT_EQ(handle->NoOfSubKeys(&number), 22);
            EXPECT_EQ(number, 0U);
            EXPECT_EQ(handle->CreateKey(nullptr, "C", false, -1), -1);
            EXPECT_STREQ(name, "same");
        }
        EXPECT_EQ(none.QueryValue(&*std::make_unique<unsigned int>(), "v", kept), 22);
        EXPECT_EQ(none.Open("", kept, -1), -1);
    });
}

TEST_F(RegistryHandle, DeletedKeyLeavesItsNameUntilItIsFilledAgain) {
    WithKey([](CRegistry& registry) {
        CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
        CRegistry parent(machine);
        EXPECT_EQ(parent.SetValue("v", 1U), 0);
        EXPECT_EQ(parent.DeleteKey("v"), 22);
        EXPECT_EQ(parent.DeleteKey("none"), 22);
        EXPECT_EQ(parent.DeleteKey(nullptr), 22);
        EXPECT_EQ(parent.DeleteKey("A"), 0);
        char name[8];
        EXPECT_EQ(parent.EnumKey(name, sizeof name, 0, nullptr, 0), 0);
        EXPECT_STREQ(name, "A");
        EXPECT_EQ(registry.Open("A", machine, -1), -1);
        EXPECT_EQ(registry.CreateKey(machine, "A", false, -1), 0);
        EXPECT_EQ(registry.Open("A", machine, -1), 0);
        EXPECT_EQ(registry.Open("A/B", machine, -1), -1);
    });
}

TEST_F(RegistryHandle, StoresAndSizesValuesByType) {
    WithKey([](CRegistry& registry) {
        struct {
            const char* What;
            std::string Data;
            unsigned int Type;
            bool IsStored;
            int Size;
            int DwordResult;
        } const kCases[] = {
            {"text", "text", kRegSz, true, 5, 61},
            {"a text of three characters passes as a number", "abc", kRegSz, true, 4, 0},
            {"text behind a zero byte", std::string("ab\0c", 4), kRegSz, true, 3, 61},
            {"expandable", "%NONE%", kRegExpandSz, true, 7, 61},
            {"binary", "12", kRegBinary, true, 2, 61},
            {"binary of four bytes passes as a number", "1234", kRegBinary, true, 4, 0},
            {"empty binary", "", kRegBinary, true, 0, 61},
            {"number", "1234", kRegDword, true, 4, 0},
            {"number of three bytes", "123", kRegDword, false, 0, 61},
            {"no type", "1", 0, false, 0, 61},
            {"subkey", "1234", kRegSubkey, false, 0, 61},
            {"filter", "1", kRegAnyValue, false, 0, 61},
        };
        for (const auto& each : kCases) {
            SCOPED_TRACE(each.What);
            EXPECT_EQ(registry.DeleteValue("v"), 0);
            const auto size = static_cast<unsigned int>(each.Data.size());
            EXPECT_EQ(registry.SetValue("v", Bytes(each.Data.data()), size, each.Type),
                      each.IsStored);
            EXPECT_EQ(registry.GetValueSize("v"), each.Size);
            unsigned int number = 0;
            EXPECT_EQ(registry.QueryValue(&number, "v"), each.DwordResult);
            EXPECT_EQ(registry.Result(), each.DwordResult);
            if (each.DwordResult == 0) {
                EXPECT_EQ(std::memcmp(&number, each.Data.c_str(), 4), 0);
            }
        }
        EXPECT_TRUE(registry.SetValue(nullptr, Bytes("x"), 1, kRegSz));
        EXPECT_FALSE(registry.SetValue("v", nullptr, 1, kRegSz));
        EXPECT_EQ(registry.SetValue("v", static_cast<const char*>(nullptr)), 22);
        unsigned int* const nowhere = nullptr;
        EXPECT_EQ(registry.QueryValue(nowhere, "v"), 61);
        EXPECT_EQ(registry.GetValueSize(nullptr), 0);
    });
}

TEST_F(RegistryHandle, ReadsTextsIntoBuffers) {
    WithKey([](CRegistry& registry) {
        setenv("REGISTRY_TEST", "abcde", 1);
        ASSERT_EQ(registry.SetValue("plain", "abcde"), 0);
        ASSERT_TRUE(registry.SetValue("vars", Bytes("%REGISTRY_TEST%"), 15, kRegExpandSz));
        for (const char* name : {"plain", "vars"}) {
            SCOPED_TRACE(name);
            const struct {
                bool HasBuffer;
                unsigned int Count;
                int Result;
                unsigned int CountAfter;
                const char* Buffer;
            } kCases[] = {
                {false, 0, 0, 6, "########"}, {true, 8, 0, 5, "abcde"},
                {true, 6, 0, 5, "abcde"},     {true, 5, 34, 5, "abcde###"},  // not terminated
                {true, 2, 34, 2, "ab######"},
            };
            for (const auto& each : kCases) {
                char buffer[] = "########";
                unsigned int count = each.Count;
                char* const given = each.HasBuffer ? buffer : nullptr;
                EXPECT_EQ(registry.QueryValue(given, name, &count), each.Result);
                EXPECT_EQ(count, each.CountAfter);
                EXPECT_STREQ(buffer, each.Buffer);
                EXPECT_EQ(registry.QueryValue(given, name, each.Count), each.Result);
            }
            std::string text;
            EXPECT_EQ(registry.QueryValue(text, name), 0);
            EXPECT_EQ(text, "abcde");
            EXPECT_STREQ(registry.GetValue(name), "abcde");
        }
        EXPECT_EQ(registry.ValueType(), kRegExpandSz);
        EXPECT_EQ(registry.ValueSize(), 5U) << "an expanded text counts without its terminator";
        EXPECT_EQ(registry.GetValueSize("vars"), 16);
        registry.GetValue("plain");
        EXPECT_EQ(registry.ValueSize(), 6U);
        EXPECT_EQ(registry.SetValue("number", 7U), 0);
        char buffer[8];
        unsigned int* const nowhere = nullptr;
        EXPECT_EQ(registry.QueryValue(buffer, "number", nowhere), 61);
        EXPECT_EQ(registry.QueryValue(buffer, "plain", nowhere), 34);
    });
}

TEST_F(RegistryHandle, EnumeratesInTheOrderOfNames) {
    WithKey([](CRegistry& registry) {
        ASSERT_EQ(registry.SetValue("beta", 7U), 0);
        ASSERT_EQ(registry.SetValue("alpha", "text"), 0);
        CRegistry copy(registry);
        CRegistryNode* key = copy.KeepKeyHandle();
        CRegistry other;
        ASSERT_EQ(other.CreateKey(key, "Z", false, -1), 0);
        ASSERT_EQ(other.CreateKey(key, "Key", false, -1), 0);
        const struct {
            unsigned int Index;
            unsigned int Type;
            unsigned int NameLen;
            unsigned int DataLen;
            int Result;
            const char* Name;
            unsigned int DataLenAfter;
        } kCases[] = {
            {0, kRegAnyValue, 8, 8, 0, "alpha", 4},
            {0, kRegAnyValue, 3, 2, 0, "al", 2},
            {1, kRegAnyValue, 8, 8, 0, "beta", 4},
            {1, kRegAnyValue, 8, 3, 0, "beta", 0},
            {2, kRegAnyValue, 8, 8, 0, "", 0},  // one more, without a name
            {3, kRegAnyValue, 8, 8, 61, "####", 8},
            {0, 0, 8, 8, 0, "", 0},
            {1, 0, 8, 8, 61, "####", 8},
            {0, kRegDword, 8, 8, 0, "beta", 4},
            {1, kRegDword, 8, 8, 61, "####", 8},
            {1, kRegSubkey, 8, 8, 0, "Z", 0},
            {0, kRegAnyValue, 0, 8, 22, "####", 8},
        };
        for (const auto& each : kCases) {
            SCOPED_TRACE(testing::Message() << each.Index << " of type " << each.Type);
            char name[8] = "####";
            unsigned char data[8];
            unsigned int nameLen = each.NameLen;
            unsigned int dataLen = each.DataLen;
            EXPECT_EQ(registry.EnumVal(name, &nameLen, each.Index, each.Type, data, &dataLen),
                      each.Result);
            EXPECT_STREQ(name, each.Name);
            EXPECT_EQ(dataLen, each.DataLenAfter);
            if (each.Result == 0) {
                EXPECT_EQ(nameLen, std::strlen(each.Name));
                EXPECT_EQ(registry.EnumVal(name, &(nameLen = 8), each.Index, each.Type, nullptr,
                                           &dataLen),
                          0);
                EXPECT_EQ(dataLen, 0U);
            }
        }
        char name[3];
        unsigned int nameLen = sizeof name;
        unsigned int classLen = 5;
        EXPECT_EQ(registry.EnumKey(name, &nameLen, 0, nullptr, &classLen), 0);
        EXPECT_STREQ(name, "Ke");
        EXPECT_EQ(nameLen, 2U);
        EXPECT_EQ(classLen, 0U);
        EXPECT_EQ(registry.EnumKey(name, sizeof name, 1, nullptr, 0), 0);
        EXPECT_EQ(registry.EnumKey(name, sizeof name, 2, nullptr, 0), 61);
        unsigned int count = 0;
        EXPECT_EQ(registry.NoOfSubKeys(&count), 0);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(registry.NoOfSubKeys(nullptr), 22);
    });
}

TEST_F(RegistryHandle, FollowsPointersFromAPredefinedKeyOn) {
    constexpr char kProduct[] =
        "SYSTEM/CurrentControlSet/Control/UUID/"
        "C3681B60-0D26-11D3-8319-00A0C9B61E25";
    WithKey([&](CRegistry& registry) {
        registry.SetValue("here", 1U);
        CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
        CRegistry product;
        ASSERT_EQ(product.CreateKey(machine, kProduct, false, -1), 0);
        const std::pair<const char*, int> kCases[] = {
            {"hkey_local_machine\\A\\B\\C", 0}, {"Hkey_Local_Machine/A/B/C", 0},
            {"hkey_local_machine\\A\\B/C", 0},  {"hkey_local_machine/a/b/c", -1},
            {"HKEY_LOCAL_MACHINE", -1},         {"", -1},
        };
        for (const auto& [text, result] : kCases) {
            SCOPED_TRACE(text);
            ASSERT_EQ(product.SetValue("pointer", text), 0);
            CRegistry handle;
            EXPECT_EQ(handle.OpenUUIDPointer("pointer", machine, -1, nullptr, false), result);
            unsigned int value = 0;
            EXPECT_EQ(result == 0, handle.QueryValue(&value, "here") == 0);
            std::string root;
            EXPECT_TRUE(CRegistry::GetProductRegistryRoot(root, "pointer"));
            EXPECT_EQ(root, text);
        }
        CRegistry handle;
        EXPECT_EQ(handle.OpenPointerKey("none", "pointer", machine, -1), -1);
        EXPECT_EQ(handle.OpenPointerKey(kProduct, "none", machine, -1), -1);
    });
}

TEST_F(RegistryHandle, CopiesShareTheKeyOnly) {
    WithKey([](CRegistry& registry) {
        registry.SetValue("v", "text");
        char* value = registry.GetValue("v");
        CRegistry copy(registry);
        EXPECT_EQ(copy.ValueSize(), 0U);
        copy = copy;  // NOLINT(clang-diagnostic-self-assign-overloaded): what is tested
        std::string text;
        EXPECT_EQ(copy.QueryValue(text, "v"), 0);
        EXPECT_STREQ(value, "text");
        EXPECT_TRUE(registry.Close());
        EXPECT_TRUE(copy.Close());
    });
}

TEST_F(RegistryHandle, TracesEveryOperation) {
    WithKey([](CRegistry& registry) {
        StartTrace();
        CRegistryNode* machine = CRegistry::Hive(RegistryHive::LocalMachine);
        char number[16];
        (void)snprintf(number, sizeof number, "%d",
                       static_cast<int>(reinterpret_cast<std::intptr_t>(machine)));
        registry.Open("A/B", machine, -1);
        registry.OpenPointerKey("none", "v", nullptr, -1);
        registry.CreateKey(machine, nullptr, false, -1);
        registry.CreateKey(machine, "A/B", false, -1);
        registry.SetValue("v", "text");
        registry.SetValue("v", Bytes("1"), 1, 9);
        registry.DeleteValue("v");
        unsigned int* const nowhere = nullptr;
        registry.SetValue("v", "text");
        registry.QueryValue(number + 0, "v", nowhere);
        registry.SetValue("v", 7U);
        registry.SetValue("v", 8U);
        CRegistry(machine).DeleteKey("A");
        const std::vector<std::string> expected{
            "CRegistry::Open \"A/B\", hKey = " + std::string(number),
            "CRegistry::OpenPointer \"none\"",
            "CRegistry::Open \"none\", hKey = 0",
            "CRegistry::CreateKey \"<null>\"",
            "CRegistry::CreateKey \"A/B\"",
            "CRegistry::SetValue \"v\" 4 1",
            "CRegistry::SetValue \"v\" 1 9",
            "CRegistry::DeleteValue \"v\"",
            "CRegistry::SetValue \"v\" 4 1",
            "CRegistry::QueryValue: ** ERROR **  pdwCount is a NULL pointer",
            "CRegistry::SetValue \"v\" 4 4",
            "CRegistry::SetValue \"v\" 4 4",
            "CRegistry::SetValue oEntry = 0x7",
            "CRegistry::DeleteKey \"A\"",
            "CRegistryNode::deleteNode \"B\"",
            "CRegistryNode::deleteNode \"C\""};
        auto texts = TraceTexts({"InitClass", "SetupTree", "SaveTree"});
        // The text that the number replaced stood at an address of its own.
        texts.erase(std::remove_if(texts.begin(), texts.end(),
                                   [](const std::string& text) {
                                       return text.starts_with("CRegistry::SetValue oEntry") &&
                                              text.size() > 33;
                                   }),
                    texts.end());
        EXPECT_EQ(texts, expected);
    });
}

}  // namespace
