// The operations of a handle: keys, values, enumeration.
#include <cstdlib>
#include <cstring>
#include <functional>

#include "tests/os/registry_fixture.h"

namespace {

const unsigned char* Bytes(const char* text) {
    return reinterpret_cast<const unsigned char*>(text);
}

class RegistryHandle : public CRegistryTest {
protected:
    // A handle on the new key A/B/C of the local machine, in a process of its own.
    static void WithKey(const std::function<void(CRegistry&)>& body) {
        InFreshProcess([&body] {
            CRegistry key;
            ASSERT_EQ(key.CreateKey(Machine(), "A\\B/C", false, -1), 0);
            body(key);
        });
    }
};

TEST_F(RegistryHandle, OpensAndCreatesByPath) {
    WithKey([](CRegistry& key) {
        EXPECT_EQ(key.SetValue("value", 1U), 0);
        const std::pair<const char*, bool> kPaths[] = {
            {"HKEY_LOCAL_MACHINE\\A\\B\\C", true},
            {"HKEY_LOCAL_MACHINE/A/B/C/", true},
            {"HKEY_LOCAL_MACHINE\\A\\B/C", true},
            {"HKEY_LOCAL_MACHINE/A\\B", false},  // the key "HKEY_LOCAL_MACHINE/A"
            {"", true},
            {"hkey_local_machine", false},
            {"/HKEY_LOCAL_MACHINE", false},
            {"HKEY_LOCAL_MACHINE//A", false},
            {"HKEY_LOCAL_MACHINE/A/B/C/value", false},
            {nullptr, false},
        };
        for (const auto& [path, isThere] : kPaths) {
            CRegistry handle;
            EXPECT_EQ(handle.Open(path, nullptr, -1), isThere ? 0 : -1) << path;
            EXPECT_EQ(handle.Close(), isThere);
        }
        EXPECT_EQ(key.CreateKey(nullptr, "value", true, 0), -1);
        EXPECT_EQ(key.CreateKey(nullptr, nullptr, true, 0), -1);
        EXPECT_EQ(key.CreateKey(nullptr, "D/E\\value/", true, 0), 0);
        EXPECT_EQ(key.CreateKey(nullptr, "", true, 0), 0);
        EXPECT_EQ(key.SetValue("inner", 2U), 0) << "the handle is on the last key";
        EXPECT_TRUE(key.Close());
        EXPECT_EQ(key.CreateKey(nullptr, "F", true, 0), -1);
        EXPECT_EQ(TreeText(), WholeTree("[A]\n[B]\n[C]\nvalue=d=1\n[D/E]\n[value]\ninner=d=2\n"
                                        "\n\n\n\n\n"));
    });
    InFreshProcess([] {
        CRegistryNode* root = nullptr;
        EXPECT_EQ(CRegistry("HKEY_LOCAL_MACHINE/A", root, -1).Result(), 0) << "reads the tree";
    });
}

TEST_F(RegistryHandle, WithoutAKeyEveryOperationFails) {
    WithKey([](CRegistry& deleted) {
        EXPECT_EQ(deleted.SetValue("v", 1U), 0);
        CRegistry copy(deleted);
        CRegistryNode* kept = copy.KeepKeyHandle();
        CRegistryNode* machine = Machine();
        CRegistry parent(machine);
        EXPECT_EQ(parent.DeleteKey("A"), 0);
        EXPECT_EQ(parent.DeleteKey("A"), 0) << "the entry stays, without a key";
        CRegistry none;
        CRegistry onKept(kept);
        unsigned int number = 7;
        for (CRegistry* handle : {&none, &deleted, &onKept}) {
            char name[8] = "same";
            unsigned int length = sizeof name;
            std::string text;
            const std::vector<int> results{
                handle->QueryValue(&number, "v"),
                handle->QueryValue(text, "v"),
                handle->QueryValue(name, "v", &length),
                handle->SetValue("v", 1U),
                handle->SetValue("v", "x"),
                handle->DeleteValue("v"),
                handle->DeleteKey("B"),
                handle->EnumKey(name, &length, 0, nullptr, nullptr),
                handle->EnumVal(name, &length, 0, kRegAnyValue, nullptr, nullptr),
                handle->NoOfSubKeys(&number)};
            EXPECT_EQ(results, std::vector<int>(results.size(), 22));
            EXPECT_TRUE(handle->GetValueSize("v") == 0 && handle->GetValue("v") == nullptr);
            EXPECT_EQ(handle->CreateKey(nullptr, "C", false, -1), -1);
            EXPECT_EQ(number, 0U);
            EXPECT_STREQ(name, "same");
        }
        EXPECT_EQ(none.Open("", kept, -1), -1);
        EXPECT_EQ(parent.SetValue("v", 1U), 0);
        for (const char* name : {"v", "none", static_cast<const char*>(nullptr)}) {
            EXPECT_EQ(parent.DeleteKey(name), 22);
        }
        EXPECT_EQ(parent.NoOfSubKeys(&number), 0);
        EXPECT_EQ(number, 1U) << "a hollow entry";
        EXPECT_EQ(parent.Open("A", machine, -1), -1);
        EXPECT_EQ(parent.CreateKey(machine, "A", false, -1), 0) << "fills it again";
        EXPECT_EQ(parent.Open("A/B", machine, -1), -1);
    });
}

TEST_F(RegistryHandle, StoresAndSizesValuesByType) {
    WithKey([](CRegistry& key) {
        const struct {
            std::string Data;
            unsigned int Type;
            int Size;  // -1: not stored
            int DwordResult;
        } kCases[] = {
            {"text", kRegSz, 5, 61},
            {"abc", kRegSz, 4, 0},  // four bytes pass as a number, whatever they are
            {std::string("ab\0c", 4), kRegSz, 3, 61},
            {"%NONE%", kRegExpandSz, 7, 61},
            {"1234", kRegBinary, 4, 0},
            {"", kRegBinary, 0, 61},
            {"1234", kRegDword, 4, 0},
            {"123", kRegDword, -1, 61},
            {"1", 0, -1, 61},
            {"1234", kRegSubkey, -1, 61},
            {"1", kRegAnyValue, -1, 61},
        };
        for (const auto& [data, type, valueSize, dwordResult] : kCases) {
            SCOPED_TRACE(data);
            EXPECT_EQ(key.DeleteValue("v"), 0);
            const auto size = static_cast<unsigned int>(data.size());
            EXPECT_EQ(key.SetValue("v", Bytes(data.data()), size, type), valueSize >= 0);
            EXPECT_EQ(key.GetValueSize("v"), std::max(valueSize, 0));
            unsigned int number = 0;
            EXPECT_EQ(key.QueryValue(&number, "v"), dwordResult);
            EXPECT_EQ(key.Result(), dwordResult);
            EXPECT_TRUE(dwordResult != 0 || std::memcmp(&number, data.c_str(), 4) == 0);
        }
        unsigned int* const nowhere = nullptr;
        EXPECT_EQ(key.QueryValue(nowhere, "v"), 61);
        EXPECT_TRUE(key.SetValue(nullptr, Bytes("x"), 1, kRegSz));
        EXPECT_FALSE(key.SetValue("v", nullptr, 1, kRegSz));
        EXPECT_EQ(key.SetValue("v", static_cast<const char*>(nullptr)), 22);
    });
}

TEST_F(RegistryHandle, ReadsTextsIntoBuffers) {
    WithKey([](CRegistry& key) {
        setenv("REGISTRY_TEST", "abcde", 1);
        ASSERT_EQ(key.SetValue("plain", "abcde"), 0);
        ASSERT_TRUE(key.SetValue("vars", Bytes("%REGISTRY_TEST%"), 15, kRegExpandSz));
        const struct {
            unsigned int Count;  // 0: no buffer
            int Result;
            unsigned int CountAfter;
            const char* Buffer;
        } kCases[] = {{0, 0, 6, "########"},
                      {8, 0, 5, "abcde"},
                      {6, 0, 5, "abcde"},
                      {5, 34, 5, "abcde###"},  // not terminated
                      {2, 34, 2, "ab######"}};
        for (const char* name : {"plain", "vars"}) {
            for (const auto& each : kCases) {
                char buffer[] = "########";
                unsigned int count = each.Count;
                EXPECT_EQ(key.QueryValue(count > 0 ? buffer : nullptr, name, &count), each.Result);
                EXPECT_EQ(count, each.CountAfter);
                EXPECT_STREQ(buffer, each.Buffer);
            }
            std::string text;
            EXPECT_EQ(key.QueryValue(text, name), 0);
            EXPECT_EQ(text, "abcde");
            EXPECT_STREQ(key.GetValue(name), "abcde");
        }
        std::string text;
        ASSERT_EQ(key.SetValue("literal", "%REGISTRY_TEST%"), 0);
        EXPECT_EQ(key.QueryValue(text, "literal"), 0);
        EXPECT_EQ(text, "%REGISTRY_TEST%") << "not of the type that is expanded";
        EXPECT_STREQ(key.GetValue("literal"), "%REGISTRY_TEST%");
        EXPECT_STREQ(key.GetValue("vars"), "abcde");
        EXPECT_EQ(key.ValueType(), kRegExpandSz);
        EXPECT_EQ(key.ValueSize(), 5U) << "an expanded text counts without its terminator";
        EXPECT_EQ(key.GetValueSize("vars"), 16);
        const char* const value = key.GetValue("plain");
        EXPECT_EQ(key.ValueSize(), 6U);
        CRegistry copy(key);
        EXPECT_EQ(copy.ValueSize(), 0U) << "a copy shares the key only";
        EXPECT_EQ(copy.SetValue("number", 7U), 0);
        EXPECT_TRUE(copy.Close());
        EXPECT_STREQ(value, "abcde");
        char buffer[8];
        unsigned int* const nowhere = nullptr;
        EXPECT_EQ(key.QueryValue(buffer, "number", nowhere), 61);
        EXPECT_EQ(key.QueryValue(buffer, "plain", nowhere), 34);
    });
}

TEST_F(RegistryHandle, EnumeratesInTheOrderOfNames) {
    WithKey([](CRegistry& key) {
        ASSERT_EQ(key.SetValue("beta", 7U), 0);
        ASSERT_EQ(key.SetValue("alpha", "text"), 0);
        for (const char* name : {"Z", "Key"}) {
            CRegistry subkey(key);
            ASSERT_EQ(subkey.CreateKey(nullptr, name, false, -1), 0);
        }
        const struct {
            unsigned int Index, Type, NameLen, DataLen;
            int Result;
            const char* Name;
            unsigned int DataLenAfter;
        } kCases[] = {
            {0, kRegAnyValue, 8, 8, 0, "alpha", 4},
            {0, kRegAnyValue, 3, 2, 0, "al", 2},
            {1, kRegAnyValue, 8, 3, 0, "beta", 0},
            {2, kRegAnyValue, 8, 8, 0, "", 0},  // one more, without a name
            {3, kRegAnyValue, 8, 8, 61, "####", 8},
            {0, 0, 8, 8, 0, "", 0},
            {1, 0, 8, 8, 61, "####", 8},
            {0, kRegDword, 8, 8, 0, "beta", 4},
            {1, kRegSubkey, 8, 8, 0, "Z", 0},
            {0, kRegAnyValue, 0, 8, 22, "####", 8},
        };
        char name[8];
        unsigned char data[8];
        unsigned int nameLen = 0;
        unsigned int count = 0;
        for (const auto& each : kCases) {
            SCOPED_TRACE(testing::Message() << each.Index << " of type " << each.Type);
            std::strcpy(name, "####");
            nameLen = each.NameLen;
            count = each.DataLen;
            EXPECT_EQ(key.EnumVal(name, &nameLen, each.Index, each.Type, data, &count),
                      each.Result);
            EXPECT_STREQ(name, each.Name);
            EXPECT_EQ(count, each.DataLenAfter);
            EXPECT_EQ(nameLen, each.Result == 0 ? std::strlen(each.Name) : each.NameLen);
        }
        EXPECT_EQ(key.EnumVal(name, &(nameLen = 8), 0, kRegAnyValue, nullptr, &(count = 5)), 0);
        EXPECT_EQ(count, 0U);
        EXPECT_EQ(key.EnumKey(name, &(nameLen = 3), 0, nullptr, &(count = 5)), 0);
        EXPECT_STREQ(name, "Ke");
        EXPECT_TRUE(nameLen == 2 && count == 0);
        EXPECT_EQ(key.EnumKey(name, sizeof name, 1, nullptr, 0), 0);
        EXPECT_EQ(key.EnumKey(name, sizeof name, 2, nullptr, 0), 61);
        EXPECT_EQ(key.NoOfSubKeys(&count), 0);
        EXPECT_EQ(count, 2U);
        EXPECT_EQ(key.NoOfSubKeys(nullptr), 22);
    });
}

TEST_F(RegistryHandle, FollowsPointersFromAPredefinedKeyOn) {
    constexpr char kProduct[] =
        "SYSTEM/CurrentControlSet/Control/UUID/"
        "C3681B60-0D26-11D3-8319-00A0C9B61E25";
    WithKey([&](CRegistry& key) {
        key.SetValue("here", 1U);
        CRegistryNode* machine = Machine();
        CRegistry product;
        ASSERT_EQ(product.CreateKey(machine, kProduct, false, -1), 0);
        CRegistry handle;
        for (const char* text :
             {"hkey_local_machine\\A\\B\\C", "Hkey_Local_Machine/A/B/C",
              "hkey_local_machine\\A\\B/C", "hkey_local_machine/a/b/c", "HKEY_LOCAL_MACHINE", ""}) {
            const bool isThere = std::string_view(text).ends_with('C');
            ASSERT_EQ(product.SetValue("pointer", text), 0);
            EXPECT_EQ(handle.OpenUUIDPointer("pointer", machine, -1, nullptr, false),
                      isThere ? 0 : -1);
            EXPECT_EQ(handle.GetValueSize("here"), isThere ? 4 : 0) << text;
            std::string root;
            EXPECT_TRUE(CRegistry::GetProductRegistryRoot(root, "pointer"));
            EXPECT_EQ(root, text);
        }
        EXPECT_EQ(handle.OpenPointerKey("none", "pointer", machine, -1), -1);
        EXPECT_EQ(handle.OpenPointerKey(kProduct, "none", machine, -1), -1);
    });
}

TEST_F(RegistryHandle, TracesEveryOperation) {
    WithKey([](CRegistry& key) {
        StartGlobal(2);
        CRegistryNode* machine = Machine();
        const auto number =
            std::to_string(static_cast<int>(reinterpret_cast<std::intptr_t>(machine)));
        unsigned int* const nowhere = nullptr;
        char buffer[8];
        key.Open("A/B", machine, -1);
        key.OpenPointerKey("none", "v", nullptr, -1);
        key.CreateKey(machine, nullptr, false, -1);
        key.CreateKey(machine, "A/B", false, -1);
        key.SetValue("v", Bytes("1"), 1, 9);
        key.DeleteValue("v");
        key.SetValue("v", "text");
        key.QueryValue(buffer, "v", nowhere);
        key.DeleteValue("v");
        key.SetValue("v", 7U);
        key.SetValue("v", 8U);
        CRegistry(machine).DeleteKey("A");
        EXPECT_EQ(Traced("InitClass|SetupTree|SaveTree"),
                  "CRegistry::Open \"A/B\", hKey = " + number + R"(
CRegistry::OpenPointer "none"
CRegistry::Open "none", hKey = 0
CRegistry::CreateKey "<null>"
CRegistry::CreateKey "A/B"
CRegistry::SetValue "v" 1 9
CRegistry::DeleteValue "v"
CRegistry::SetValue "v" 4 1
CRegistry::QueryValue: ** ERROR **  pdwCount is a NULL pointer
CRegistry::DeleteValue "v"
CRegistry::SetValue "v" 4 4
CRegistry::SetValue "v" 4 4
CRegistry::SetValue oEntry = 0x7
CRegistry::DeleteKey "A"
CRegistryNode::deleteNode "B"
CRegistryNode::deleteNode "C"
)");
    });
}

}  // namespace
