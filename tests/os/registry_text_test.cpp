// The text of a tree file, and the parts of the registry that touch no file.
#include <cstdlib>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "os/registry_expand.h"
#include "os/registry_node.h"

namespace {

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kManyValues = 100'000;  // instrumented code is an order of magnitude slower
#else
constexpr int kManyValues = 1'000'000;
#endif

// What a text reads as, written again.
std::string ReadAndWrite(std::string_view text, bool isAnythingStored = true) {
    CRegistryNode root;
    EXPECT_EQ(root.restoreNode(text), isAnythingStored);
    std::string written;
    root.dumpNode(written);
    return written;
}

TEST(RegistryText, ReadsAsItIsWritten) {
    const std::pair<std::string, std::string> kCases[] = {
        {"s=s=text\ne=es=%X%\nd=d=7\nb=b=0a ff \n\n", "b=b=0a ff \nd=d=7\ne=es=%X%\ns=s=text\n\n"},
        // Values before subkeys, nested by closing lines; without those up to the end.
        {"[B]\n[C]\nv=d=1\n\nw=d=2\n\n[A]\n\nz=d=3\n\nnever=d=read\n",
         "z=d=3\n[A]\n\n[B]\nw=d=2\n[C]\nv=d=1\n\n\n\n"},
        {"[A]\n[B]\nv=d=1", "[A]\n[B]\nv=d=1\n\n\n\n"},
        // Numbers keep their low 32 bits.
        {"a=d=-1\nb=d=4294967295\nc=d=2147483648\nd=d= 12x\ne=d=\nf=d=99999999999999999999\n",
         "a=d=-1\nb=d=-1\nc=d=-2147483648\nd=d=12\ne=d=0\nf=d=-1\n\n"},
        // Bytes: none, odd numbers, what is no number.
        {"a=b=\nb=b=1 2 zz\nc=b=0x1F 1fe  -1 +7\nd=b=0A\nz=b=zz 1\n",
         "a=b=\nb=b=01 02 \nc=b=1f fe ff 07 \nd=b=0a \nz=b=\n\n"},
        // A name ends at its first "="; the tags are tried in order.
        {"a=b=s=text\nc=d=e=d=5\nf=x=s=lost\nv=s==es=x\n", "a=b=\nc=d=0\nv=s==es=x\n\n"},
        {"=d=-1\nword\nx=q=1\n=\nx=s\nv=s=\n", "=d=-1\nv=s=\n\n"},
        {"[a]b]\n\n[]\n\n[open\n[x=s=1\n", "[x=s=1\n[]\n\n[a]\n\n\n"},
        // The last of one name counts.
        {"v=d=1\nv=s=x\n[v]\na=d=1\n\n[v]\nb=d=2\n\n", "[v]\nb=d=2\n\n\n"},
        {std::string("v=s=ab\0cd\n\0v=d=1\nx=d=1\n", 23), "v=s=ab\n\n"},
        {"[A]\r\nv=s=x\r\n\r\n", "[A]\nv=s=x\r\n\n\n"},
    };
    for (const auto& [text, written] : kCases) {
        EXPECT_EQ(ReadAndWrite(text), written);
        EXPECT_EQ(ReadAndWrite(written), written) << "not stable";
    }
    for (const char* text : {"", "\n", "word\n\n"}) {
        EXPECT_EQ(ReadAndWrite(text, false), "\n");
    }
}

TEST(RegistryText, LongLinesArriveInPiecesOf1023Characters) {
    const std::string most = "v=s=" + std::string(1018, 'x');
    EXPECT_EQ(ReadAndWrite(most + "\nw=d=1\n"), most + "\nw=d=1\n\n");
    // One more character pushes the line feed into a piece of its own, which closes the node.
    EXPECT_EQ(ReadAndWrite(most + "y\nw=d=1\n"), most + "y\n\n");
    // The second piece is a line too.
    EXPECT_EQ(ReadAndWrite(most + "yw=d=1\nz=d=2\n"), most + "y\nw=d=1\nz=d=2\n\n");
}

TEST(RegistryText, DepthAndWidthAreBoundedByMemoryOnly) {
    constexpr int kDepth = 100'000;
    std::string deep;
    std::string wide;
    for (int i = 0; i < kDepth; ++i) {
        deep += "[k]\n";
    }
    deep.append(kDepth + 1, '\n');
    EXPECT_TRUE(ReadAndWrite(deep) == deep);
    for (int i = 0; i < kManyValues; ++i) {  // names that sort in another order than they come in
        wide += std::to_string(i * 7919LL % 1'000'003) + "=d=1\n";
    }
    EXPECT_EQ(ReadAndWrite(wide).size(), wide.size() + 1);
    EXPECT_EQ(ReadAndWrite("v=s=" + std::string(100'000'000, 'x')).size(), 1023U + 2);
    EXPECT_EQ(ReadAndWrite(std::string(1'000'000, '\0'), false), "\n");
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
    EXPECT_TRUE(a->IsDead() && b->IsDead());
    EXPECT_EQ(b->Count(), 0);
    CRegistryData number = CRegistryData::MakeNumber(1);
    EXPECT_EQ(b->Store("v", number), CRegistryNode::Outcome::Dead);
    EXPECT_EQ(b->Remove("v", number), CRegistryNode::Outcome::Dead);
    bool isNew = false;
    EXPECT_FALSE(b->FindOrAddSubkey("C", isNew));
    EXPECT_FALSE(root.FindSubkey("A"));
    std::string text;
    root.dumpNode(text);
    EXPECT_EQ(text, "\n") << "a key without a node has no line";
    EXPECT_NE(root.FindOrAddSubkey("A", isNew).Get(), a.Get());
    EXPECT_TRUE(isNew);
}

TEST(RegistryExpand, ReplacesPairsOnly) {
    setenv("REGISTRY_TEST", "value", 1);
    const std::pair<const char*, const char*> kCases[] = {
        {"a%REGISTRY_TEST%b%REGISTRY_TEST%", "avaluebvalue"},
        {"%REGISTRY_NONE%x", "x"},
        {"100%%", "100%"},
        {"%REGISTRY_TEST", "%REGISTRY_TEST"},
        {"%%%REGISTRY_TEST%%", "%value%"},
        {"50% of %REGISTRY_TEST%", "50REGISTRY_TEST%"},  // " of " is no variable
    };
    for (const auto& [text, expected] : kCases) {
        EXPECT_EQ(ExpandRegistryText(text), expected) << text;
    }
}

}  // namespace
