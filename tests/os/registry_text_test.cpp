// The text of a tree file, and the parts of the registry that touch no file.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "os/registry_expand.h"
#include "os/registry_node.h"
#include "os/registry_path.h"

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kManyValues = 100'000;  // instrumented code is an order of magnitude slower
#else
constexpr int kManyValues = 1'000'000;
#endif

// What a text reads as, written again.
std::string ReadAndWrite(std::string_view text, bool* isAnythingStored = nullptr) {
    CRegistryNode root;
    const bool stored = root.restoreNode(text);
    if (isAnythingStored != nullptr) {
        *isAnythingStored = stored;
    }
    std::string written;
    root.dumpNode(written);
    return written;
}

TEST(RegistryText, ReadsAsItIsWritten) {
    struct {
        const char* What;
        std::string Read;
        std::string Written;
    } const kCases[] = {
        {"every type, sorted", "s=s=text\ne=es=%X%\nd=d=7\nb=b=0a ff \n\n",
         "b=b=0a ff \nd=d=7\ne=es=%X%\ns=s=text\n\n"},
        {"values before subkeys, nested by closing lines",
         "[B]\n[C]\nv=d=1\n\nw=d=2\n\n[A]\n\nz=d=3\n\n",
         "z=d=3\n[A]\n\n[B]\nw=d=2\n[C]\nv=d=1\n\n\n\n"},
        {"no closing lines", "[A]\n[B]\nv=d=1", "[A]\n[B]\nv=d=1\n\n\n\n"},
        {"what follows the root's closing line is not read", "v=d=1\n\nw=d=2\n", "v=d=1\n\n"},
        {"numbers keep their low 32 bits",
         "a=d=-1\nb=d=4294967295\nc=d=2147483648\nd=d= 12x\ne=d=\nf=d=99999999999999999999\n",
         "a=d=-1\nb=d=-1\nc=d=-2147483648\nd=d=12\ne=d=0\nf=d=-1\n\n"},
        {"binary: nothing, odd numbers, what is no number",
         "a=b=\nb=b=1 2 zz\nc=b=0x1F 1fe  -1 +7\nd=b=0A\nz=b=zz 1\n",
         "a=b=\nb=b=01 02 \nc=b=1f fe ff 07 \nd=b=0a \nz=b=\n\n"},
        {"a name ends at its first \"=\"", "a=b=s=text\nc=d=e=d=5\nf=x=s=lost\n",
         "a=b=\nc=d=0\n\n"},
        {"lines that say nothing", "word\nx=q=1\n=\nx=s\n=s=no name\nv=s=\n",
         "=s=no name\nv=s=\n\n"},
        {"tags are tried in order, at the first \"=\" only", "v=s==es=x\n", "v=s==es=x\n\n"},
        {"the name of a key ends at the first \"]\"", "[a]b]\n\n[]\n\n[open\n[x=s=1\n",
         "[x=s=1\n[]\n\n[a]\n\n\n"},
        {"the last of one name counts", "v=d=1\nv=s=x\n[v]\na=d=1\n\n[v]\nb=d=2\n\n",
         "[v]\nb=d=2\n\n\n"},
        {"a zero byte ends its line", std::string("v=s=ab\0cd\n\0v=d=1\nx=d=1\n", 23),
         "v=s=ab\n\n"},
        {"a carriage return is text", "[A]\r\nv=s=x\r\n\r\n", "[A]\nv=s=x\r\n\n\n"},
    };
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.What);
        EXPECT_EQ(ReadAndWrite(each.Read), each.Written);
        EXPECT_EQ(ReadAndWrite(each.Written), each.Written) << "not stable";
    }
}

TEST(RegistryText, LongLinesArriveInPiecesOf1023Characters) {
    const std::string name = "v=s=";
    const std::string most(1022 - name.size(), 'x');
    EXPECT_EQ(ReadAndWrite(name + most + "\nw=d=1\n"), name + most + "\nw=d=1\n\n");
    // One more character pushes the line feed into a piece of its own, which closes the node.
    EXPECT_EQ(ReadAndWrite(name + most + "y\nw=d=1\n"), name + most + "y\n\n");
    // The second piece is a line too.
    EXPECT_EQ(ReadAndWrite(name + most + "yw=d=1\nz=d=2\n"), name + most + "y\nw=d=1\nz=d=2\n\n");
}

TEST(RegistryText, TellsWhetherAnythingWasStored) {
    for (const auto& [text, expected] : {std::pair{"", false},
                                         {"\n", false},
                                         {"word\n\n", false},
                                         {"v=d=1\n", true},
                                         {"[A]\n\n\n", true}}) {
        bool isAnythingStored = !expected;
        ReadAndWrite(text, &isAnythingStored);
        EXPECT_EQ(isAnythingStored, expected) << text;
    }
}

TEST(RegistryText, DepthAndWidthAreBoundedByMemoryOnly) {
    constexpr int kDepth = 100'000;
    std::string deep;
    for (int i = 0; i < kDepth; ++i) {
        deep += "[k]\n";
    }
    deep.append(kDepth + 1, '\n');
    EXPECT_TRUE(ReadAndWrite(deep) == deep);

    std::string wide;
    for (int i = 0; i < kManyValues; ++i) {  // names that sort in another order than they come in
        wide += std::to_string(i * 7919LL % 1'000'003) + "=d=1\n";
    }
    const std::string written = ReadAndWrite(wide);
    EXPECT_EQ(written.size(), wide.size() + 1);

    const std::string line = "v=s=" + std::string(100'000'000, 'x');
    EXPECT_EQ(ReadAndWrite(line).size(), 1023U + 2);
    EXPECT_EQ(ReadAndWrite(std::string(1'000'000, '\0')), "\n");
}

TEST(RegistryNode, StaysSafeWhenItsKeyIsDeleted) {
    CRegistryNode root;
    ASSERT_TRUE(root.restoreNode("[A]\n[B]\nv=d=1\n\n\n"));
    const CRegistryNodeRef a = root.FindSubkey("A");
    const CRegistryNodeRef b = a->FindSubkey("B");
    {
        CRegistryData data;
        ASSERT_EQ(root.DetachSubkey("A", data), CRegistryNode::Outcome::Done);
    }
    EXPECT_TRUE(a->IsDead());
    EXPECT_TRUE(b->IsDead());
    EXPECT_EQ(b->Count(), 0);
    CRegistryData number = CRegistryData::MakeNumber(1);
    EXPECT_EQ(b->Store("v", number), CRegistryNode::Outcome::Dead);
    bool isNew = false;
    EXPECT_FALSE(b->FindOrAddSubkey("C", isNew));
    EXPECT_FALSE(root.FindSubkey("A"));
    std::string text;
    root.dumpNode(text);
    EXPECT_EQ(text, "\n") << "a key without a node has no line";
    const CRegistryNodeRef again = root.FindOrAddSubkey("A", isNew);
    EXPECT_TRUE(isNew);
    EXPECT_NE(again.Get(), a.Get());
}

TEST(RegistryPath, SplitsAtBackslashesFirst) {
    struct {
        const char* Path;
        std::size_t FirstLength;
        std::vector<std::string> Components;
        const char* After;
    } const kCases[] = {
        {"", 0, {}, ""},
        {"A", 0, {"A"}, "A"},
        {"A\\B/C", 0, {"A", "B", "C"}, "A/B/C"},
        {"A/B\\C", 0, {"A/B", "C"}, "A/B/C"},
        {"A/B/", 0, {"A", "B"}, "A/B/"},
        {"A/B\\", 0, {"A/B"}, "A/B/"},
        {"\\A//B", 0, {"", "A", "", "B"}, "/A//B"},
        {"A/B\\C", 1, {"A", "B", "C"}, "A/B/C"},
    };
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.Path);
        std::string path = each.Path;
        std::vector<std::string> components;
        {
            CRegistryPathWalk walk(path.data(), path.size(), each.FirstLength);
            while (const char* component = walk.Next()) {
                components.emplace_back(component);
            }
        }
        EXPECT_EQ(components, each.Components);
        EXPECT_EQ(path, each.After);
    }
}

TEST(RegistryExpand, ReplacesPairsOnly) {
    setenv("REGISTRY_TEST", "value", 1);
    unsetenv("REGISTRY_NONE");
    const std::pair<const char*, const char*> kCases[] = {
        {"", ""},
        {"plain", "plain"},
        {"a%REGISTRY_TEST%b", "avalueb"},
        {"%REGISTRY_NONE%x", "x"},
        {"100%%", "100%"},
        {"%REGISTRY_TEST", "%REGISTRY_TEST"},
        {"%%%REGISTRY_TEST%%", "%value%"},
        {"%REGISTRY_TEST%%REGISTRY_TEST%", "valuevalue"},
        {"50% of %REGISTRY_TEST%", "50REGISTRY_TEST%"},  // " of " is no variable
    };
    for (const auto& [text, expected] : kCases) {
        EXPECT_EQ(ExpandRegistryText(text), expected) << text;
    }
}

}  // namespace
