// Writes the seeds of the fuzz targets anew, with the system's own writers where there are some.
//
// usage: make_seeds CORPUS_FOLDER
// A seed is a small file in CORPUS_FOLDER/TARGET; each target says how its inputs begin.
#include <elf.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "hardware/dmi_records.h"
#include "os/ini_file.h"
#include "os/registry_node.h"

namespace {

namespace fs = std::filesystem;

void WriteSeed(const fs::path& corpus, const char* target, const char* name,
               std::string_view input) {
    fs::create_directories(corpus / target);
    std::ofstream(corpus / target / name, std::ios::binary) << input;
}

std::string ReadAll(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// An INI file as the class writes it: sections, a copy, an empty value, a deleted key.
std::string WrittenIni(const fs::path& path) {
    fs::remove(path);
    CIniFile ini;
    ini.Open(path.c_str(), false);
    ini.SetString("Vendor", "8086", "Some maker");
    ini.SetNumber("Vendor", "count", 4095U);
    ini.SetNumber("Other", "offset", -1);
    ini.SetString("Other", "empty", "");
    ini.CopySection("Vendor", "Copy");
    ini.DeleteKey("Copy", "count");
    std::string text = ReadAll(path);
    fs::remove(path);
    return text;
}

void WriteIniSeeds(const fs::path& corpus) {
    const std::string written = WrittenIni(corpus / "written.ini");
    const std::string byHand =
        "; head\r\n[a] tail\r\n\r\n k = v ; note\r\nx=\r\ngarbage\n[a]\nk=2\n[b\n=1\n[c]\nlast=1";
    const std::string longLine = "[a]\nx=" + std::string(1021, 'y') + "k=v\n";
    WriteSeed(corpus, "ini_scanner", "written", "Vendor\n8086\n64\n" + written);
    WriteSeed(corpus, "ini_scanner", "by_hand", "a\nk\n5\n" + byHand);
    WriteSeed(corpus, "ini_scanner", "long_line", "a\nk\n2000\n" + longLine);
    WriteSeed(corpus, "ini_editor", "set_first", "set\nVendor\n8086\nnew\n" + written);
    WriteSeed(corpus, "ini_editor", "set_new_section", "set\nnone\nk\nv\n" + byHand);
    WriteSeed(corpus, "ini_editor", "delete_key", "key\nOther\nempty\n\n" + written);
    WriteSeed(corpus, "ini_editor", "delete_section", "section\nOther\n\n\n" + written);
    WriteSeed(corpus, "ini_editor", "long_line", "set\na\nk\nw\n" + longLine);
}

// A tree as the class writes it, and one by hand.
void WriteRegistrySeeds(const fs::path& corpus) {
    CRegistryNode root;
    (void)root.restoreNode(
        "[HKEY_LOCAL_MACHINE]\nb=b=0a ff \nd=d=-1\ne=es=%X%\ns=s=text\n[A]\n[B]\n\n\n\n");
    std::string written;
    root.dumpNode(written);
    WriteSeed(corpus, "registry_reader", "written", written);
    WriteSeed(corpus, "registry_reader", "by_hand",
              "a=b=s=x\n[k]x\nn=d= 12x\nb=b=0x1f -1 zz\n=s=\n\nword\r\n[open\n[k]\n[]");
    WriteSeed(corpus, "registry_reader", "long_line",
              "[k]\nv=s=" + std::string(1019, 'y') + "\nw=d=1\n");
}

void WriteProcessSeeds(const fs::path& corpus) {
    WriteSeed(corpus, "process_text", "status",
              "VmSize:\nName:\tsh\nVmPeak:\t    4312 kB\nVmSize:\t    4296 kB\nVmRSS:\t 1032 kB\n");
    WriteSeed(corpus, "process_text", "large", "VmSwap:\nVmSwap: 17179869184 GB\nVmRSS:7");
    WriteSeed(corpus, "process_text", "number", "4711\na name (with) blanks\nand lines");
}

void WriteRunLevelSeeds(const fs::path& corpus) {
    WriteSeed(corpus, "run_level", "file", " \t6\n");
    WriteSeed(corpus, "run_level", "program", "N 5\n");
    WriteSeed(corpus, "run_level", "too_large", "-99999999999");
}

void WriteDoctorSeeds(const fs::path& corpus) {
    WriteSeed(corpus, "doctor", "section",
              "\n;FileDebugLevel=3\n FileDebugLevel = 010\r\nTraceFlags=\nother=1\n"
              "RingBufferDirectory=x\n");
    WriteSeed(corpus, "doctor", "locks",
              "1: FLOCK  ADVISORY  WRITE 5 08:01:12 0 EOF\n"
              "7f0-7f1 r-xp 0 08:01 6   /l/libswitch.so (deleted)\n");
    WriteSeed(corpus, "doctor", "environment", "A=1\nB=\"two words\"\n#C=3\n/a::/b");
}

void WriteTraceSeeds(const fs::path& corpus) {
    const std::string_view file =
        "[zentd]\nFileDebugLevel = 3\nRingBufferSizeFactor=0x10\r\n[GLOBAL]\nFileDir=/x\n"
        "[EndOfFile]\n";
    WriteSeed(corpus, "trace_config", "number",
              std::string("ZENTD\nFileDebugLevel\n64\n").append(file));
    WriteSeed(corpus, "trace_config", "text", std::string("global\nFileDir\n2\n").append(file));
    WriteSeed(corpus, "entry_formatter", "usual",
              "1025\n4711\nrear\nFAN %d: %u rpm in zone %s, 0x%02X at %p");
    WriteSeed(corpus, "entry_formatter", "widths",
              "64\n-3\ntext\n%-13s|%5d|%-5d|%05ld|%8zu|%.2s|%c%%");
    WriteSeed(corpus, "entry_formatter", "for_the_library", "9\n0\nnull\n%s%+d%#x%.3d%g%p");
    WriteSeed(corpus, "trace_config", "no_end", "a\nk\n9\n[a]\nk=1\n[b");
}

std::string TraceEntry(unsigned int second, const std::string& text) {
    return "2024-03-07 14:05:" + std::to_string(10 + second) + ".042 [00F5A7C0] zentd         " +
           text + "\n";
}

// A ring of 4 KiB before and after a wrap, and a log file that has wrapped.
void WriteTraceFileSeeds(const fs::path& corpus) {
    const std::string marker = "## TRACE-END ##\n";
    const std::string begin = TraceEntry(1, "### Begin of RingBuffer. ###");
    std::string front = TraceEntry(0, "# End of header.") + marker;
    front.resize(1023, '_');
    front += "\n" + begin;
    std::string before = front + TraceEntry(2, "one") + TraceEntry(3, "two\nlines") + marker;
    std::string after = front + TraceEntry(6, "six") + marker + "rest\n" + TraceEntry(4, "four") +
                        TraceEntry(5, "five");
    std::string prefill = TraceEntry(0, "").substr(0, 49);
    prefill.resize(1023, '_');
    before.resize(2048, '_');
    before += prefill + "\n";
    after.resize(before.size(), '.');
    const std::string length = std::to_string(before.size()) + "\n";
    WriteSeed(corpus, "trace_ring", "wraps", length + before + after);
    WriteSeed(corpus, "trace_ring", "marker_in_text",
              length + front + TraceEntry(2, "a\n" + marker + "b") + TraceEntry(3, "c") + marker);
    const std::string startUp = TraceEntry(0, "start");
    const std::string end = std::to_string(startUp.size());
    WriteSeed(corpus, "trace_log", "wrapped",
              startUp + "------ WRAP ----- Cycle=2, CntInitEnd=" + end + ", CurrentByteCnt=" + end +
                  " (MaxCnt=51200)\n" + TraceEntry(5, "new") + "rest\n" + TraceEntry(3, "old"));
    WriteSeed(corpus, "trace_log", "plain", startUp + TraceEntry(1, "two\nlines") + "cut");
    WriteSeed(corpus, "trace_time", "date", "2024-02-29 14:05\n" + TraceEntry(1, "text"));
    WriteSeed(corpus, "trace_time", "ago",
              "10 min ago\n2024-03-07 14:05:09.042 [00F5A7C0]     4312 KB !zentd         x\n");
    WriteSeed(corpus, "trace_time", "of_day", "14:05:09.042\nyyyy-mm-dd hh:mm:ss.mmm [0");
}

template <typename Record>
std::string Bytes(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

// A structure with zeros in its formatted area; the strings each with their NUL.
std::string SmbiosStructure(std::uint8_t type, std::uint8_t length, std::string_view strings) {
    std::string bytes = Bytes(_DMI_20_HEADER{type, length, type});
    bytes.resize(length);
    return bytes.append(strings).append(strings.empty() ? 2 : 1, '\0');
}

void WriteSmbiosSeeds(const fs::path& corpus) {
    using namespace std::string_view_literals;
    const std::string system = SmbiosStructure(1, 27, "Maker\0Product\0"sv);
    const std::string slot = SmbiosStructure(9, 17, "Slot 1\0"sv);
    const std::string end = SmbiosStructure(127, 4, "");
    WriteSeed(corpus, "smbios_walk", "table", system + slot + end);
    WriteSeed(corpus, "smbios_walk", "behind_the_end", system + end + slot);
    WriteSeed(corpus, "smbios_walk", "cut", system + slot.substr(0, slot.size() - 1));
    WriteSeed(corpus, "smbios_walk", "zero_length", std::string("\1\0\2\3\0\0", 6) + end);
    const std::string entry21 = Bytes(_DMI_21_EPS{{'_', 'S', 'M', '_'},
                                                  0x8C,
                                                  31,
                                                  2,
                                                  7,
                                                  64,
                                                  0,
                                                  {},
                                                  {'_', 'D', 'M', 'I', '_'},
                                                  0,
                                                  40,
                                                  0x4321,
                                                  2,
                                                  0x27});
    const std::string entry30 =
        Bytes(_DMI_30_EPS{{'_', 'S', 'M', '3', '_'}, 0, 24, 3, 4, 1, 1, 0, 4096, 0x1'0000'4321});
    WriteSeed(corpus, "smbios_entry_point", "version2", entry21 + std::string(33, '\0'));
    const std::string table = system + end;
    WriteSeed(corpus, "hypervisor_stream", "whole",
              "64 31 7 100\n" +
                  Bytes(_DMI_21_EPS{.Anchor = {'_', 'S', 'M', '_'},
                                    .Length = 31,
                                    .TableLength = static_cast<std::uint16_t>(table.size())}) +
                  table + std::string(40, 'x'));
    WriteSeed(
        corpus, "hypervisor_stream", "endless",
        "64 *\n" +
            Bytes(_DMI_21_EPS{.Anchor = {'_', 'S', 'M', '_'}, .Length = 100, .TableLength = 40}) +
            table);
    WriteSeed(corpus, "smbios_entry_point", "version3", entry30);
    WriteSeed(corpus, "smbios_entry_point", "range", "_xx_SM_xxxxxxxxx" + entry21 + entry30);
    WriteSeed(corpus, "smbios_entry_point", "systab", "ACPI=0x1\nSMBIOS3=0x2\nSMBIOS=0xf0000\n");
}

void WritePciIdsSeeds(const fs::path& corpus) {
    const std::string_view file =
        "# head\n8086  Maker\n\t1533  Chip\n# note\n\t\t103c 00a1  Card\n\t\t103c 00a2  Other\n"
        "\n\t2261  Other chip\r\nC 01  Storage\n\t08  Memory\n\t\t02  Express\n";
    WriteSeed(corpus, "pci_ids", "device", std::string("8086 1533 103c 00a1\n").append(file));
    WriteSeed(corpus, "pci_ids", "class", std::string("1 8 2 0\n").append(file));
    WriteSeed(
        corpus, "pci_ids", "odd",
        "8086 1533 1 2\nword\n\t1533  x\n8086\tA\x1b\tB\n\t\t0001 0002  y\n\t1533 z\n8086  C");
}

// A page of vital product data with up to 255 bytes behind its head.
std::string VpdPage(unsigned char code, const std::string& body) {
    return std::string{0, static_cast<char>(code), 0, static_cast<char>(body.size())} + body;
}

void WriteInquirySeeds(const fs::path& corpus) {
    using namespace std::string_literals;
    const std::string naa = "\x01\x03\0\x08\x50\0\xC5\0\xA1\xB2\xC3\xD4"s;
    const std::string eui = "\x01\x02\0\x08\0\x25\x38\x8b\x71\xb2\xc3\xd4"s;
    const std::string ata =
        "\x02\x01\0\x44"
        "ATA     "s +
        std::string(36, 'm') + "    " + std::string(12, ' ') + "SERIAL12";
    WriteSeed(corpus, "inquiry", "standard",
              "\x05\x80\x06\x02\x1f\0\0\0VENDOR  PRODUCT NAME    1.0 "s);
    WriteSeed(corpus, "inquiry", "serial", VpdPage(0x80, "  SERIAL "));
    WriteSeed(corpus, "inquiry", "identification", VpdPage(0x83, naa + eui + ata));
    WriteSeed(corpus, "inquiry", "cut", VpdPage(0x83, naa + ata.substr(0, 30)));
}

void WriteMountSeeds(const fs::path& corpus) {
    WriteSeed(corpus, "mtab", "escapes",
              "# comment\n/dev/sda1 /mnt/a\\040b\\134 ext4 rw,relatime 0 0\n"
              "server:/export\t/srv nfs4 rw\nshort /only\n\\043x /y\\011z tmpfs\n");
    WriteSeed(corpus, "mtab", "bad_escapes", "a\\ b\\04 c\\400\\000\\ d");
}

// A slot as most firmware describes it, one that is too short, an onboard device.
void WriteSlotSeeds(const fs::path& corpus) {
    using namespace std::string_literals;
    const std::string whole =
        "\x09\x11\x01\x09\x01\xa5\x0d\x04\x04\x05\0\x04\x01\0\0\x3b\0PCIE 1\0\0"s;
    const std::string tooShort = "\x09\x0d\x02\x09\x01\x06\x05\x03\x03\x02\0\x06\0PCI 2\0\0"s;
    const std::string onboard = "\x29\x0b\x03\x29\x01\x85\x01\0\0\x02\x08LAN\0\0"s;
    WriteSeed(corpus, "slot_rows", "table",
              whole + tooShort + onboard + SmbiosStructure(127, 4, ""));
    WriteSeed(corpus, "slot_rows", "cut",
              whole + "\x09\x0d\x02\x09\x01\x06\x05\x03\x03\x02\0\x06\0\0\0"s);
    std::string table =
        "$PIR\0\x01\x40\0"s + std::string(24, '\0') +
        "\0\x28\0\0\0\0\0\0\0\0\0\0\0\0\x03\0\x02\x38\0\0\0\0\0\0\0\0\0\0\0\0\x04\0"s;
    unsigned int sum = 0;
    for (const char c : table) {
        sum += static_cast<unsigned char>(c);
    }
    table[31] = static_cast<char>(0U - sum);
    WriteSeed(corpus, "irq_routing", "table",
              std::string(16, '\0') + table + std::string(32, '\0'));
    WriteSeed(corpus, "irq_routing", "no_room", table);
    const std::string bridge = "\x86\x80\x01\x04\0\0\0\0\x01\0\x04\x06\0\0\x81\0"s +
                               std::string(8, '\0') + "\0\x01\x02"s + std::string(37, '\0');
    WriteSeed(corpus, "pci_header", "bridge", "00\n1c.0\n" + bridge);
    WriteSeed(corpus, "pci_header", "domain", "10000:E1\n00.0\n" + std::string(64, '\xff'));
}

// A library with one symbol of its own, one that it expects, and one library that it needs.
void WriteElfSeeds(const fs::path& corpus) {
    using namespace std::string_literals;
    const std::string texts = "\0SW_Release\0Debug\0libc.so.6\0$ORIGIN\0"s;
    const std::string symbols =
        Bytes(Elf64_Sym{}) +
        Bytes(Elf64_Sym{1, ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), 0, 1, 0x1000, 16}) +
        Bytes(Elf64_Sym{12, ELF64_ST_INFO(STB_GLOBAL, STT_OBJECT), 0, SHN_UNDEF, 0, 0}) +
        Bytes(Elf64_Sym{12, ELF64_ST_INFO(STB_WEAK, STT_OBJECT), 0, SHN_UNDEF, 0, 0});
    const std::string dynamic =
        Bytes(Elf64_Dyn{DT_NEEDED, {18}}) + Bytes(Elf64_Dyn{DT_RUNPATH, {28}}) + Bytes(Elf64_Dyn{});
    Elf64_Ehdr header{};
    const std::string ident = ELFMAG "\2\1\1";
    ident.copy(reinterpret_cast<char*>(header.e_ident), ident.size());
    header.e_type = ET_DYN;
    header.e_machine = EM_X86_64;
    header.e_shoff = sizeof header;
    header.e_shentsize = sizeof(Elf64_Shdr);
    header.e_shnum = 4;
    std::uint64_t at = sizeof header + 4 * sizeof(Elf64_Shdr);
    const auto section = [&at](std::uint32_t type, std::size_t size) {
        Elf64_Shdr head{};
        head.sh_type = type;
        head.sh_offset = at;
        head.sh_size = size;
        head.sh_link = 1;
        at += size;
        return Bytes(head);
    };
    std::string sections = section(SHT_NULL, 0);
    sections += section(SHT_STRTAB, texts.size());
    sections += section(SHT_DYNSYM, symbols.size());
    sections += section(SHT_DYNAMIC, dynamic.size());
    const std::string library = Bytes(header) + sections + texts + symbols + dynamic;
    WriteSeed(corpus, "elf_library", "library", library);
    WriteSeed(corpus, "elf_library", "cut", std::string_view(library).substr(0, 400));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        (void)std::fprintf(stderr, "usage: make_seeds CORPUS_FOLDER\n");
        return 64;
    }
    fs::create_directories(argv[1]);
    WriteIniSeeds(argv[1]);
    WriteRegistrySeeds(argv[1]);
    WritePciIdsSeeds(argv[1]);
    WriteInquirySeeds(argv[1]);
    WriteMountSeeds(argv[1]);
    WriteProcessSeeds(argv[1]);
    WriteRunLevelSeeds(argv[1]);
    WriteSmbiosSeeds(argv[1]);
    WriteSlotSeeds(argv[1]);
    WriteDoctorSeeds(corpus);
    WriteTraceSeeds(argv[1]);
    WriteElfSeeds(argv[1]);
    WriteTraceFileSeeds(argv[1]);
    return 0;
}
