#include "tests/trace_reader/numbered_entries.h"

#include <cstdio>
#include <cstdlib>

namespace {

std::size_t FillLength(unsigned long number) {
    return number % 997 == 0 ? 5000 : number * 37 % 300;
}

// Bytes of the entries from one number up to before another.
unsigned long BytesBetween(unsigned long from, unsigned long to) {
    unsigned long bytes = 0;
    for (; from < to; ++from) {
        bytes += 49 + 9 + 1 + 2 * std::to_string(from).size() + FillLength(from);
    }
    return bytes;
}

// Told are offsets: a round is as long as the ring but for the header at its start, and some of its
// bytes are dots at its end.
bool IsRightLoss(unsigned long told, unsigned long missed, const Seen& seen) {
    const unsigned long round = seen.Round;
    const unsigned long rounds = missed > told ? (missed - told + round / 2) / round : 0;
    const unsigned long expected = told + rounds * round;
    return expected + seen.DotsMax > missed && missed + (rounds + 1) * seen.DotsMax > expected;
}

}  // namespace

std::string NumberedText(unsigned long number) {
    std::string text = "number=" + std::to_string(number) + " ";
    const std::size_t length = FillLength(number);
    for (std::size_t i = 0; i < length; ++i) {
        text +=
            number % 50 == 0 && i % 64 == 63 ? '\n' : static_cast<char>('a' + (number + i) % 26);
    }
    return text + "=" + std::to_string(number);
}

// Says what the first one is, for such a thing may not come again for days.
void Seen::AddTorn(const trace_reader::Entry& entry) {
    if (Torn++ == 0) {
        std::printf("behind number %lu, told %lu bytes lost, at offset %llu: %s\n", Last, m_Told,
                    static_cast<unsigned long long>(entry.Offset),
                    std::string(entry.Bytes.substr(0, 200)).c_str());
    }
}

void Seen::Tell(unsigned long bytes) {
    ++Overtaken;
    m_IsTold = true;
    m_Told += bytes;
    ToldBytes += bytes;
}

void Seen::Check(const trace_reader::Entry& entry) {
    const std::string text(entry.Text());
    if (text.rfind("number=", 0) != 0) {
        if (text.rfind("### ", 0) != 0) {
            AddTorn(entry);
        }
        return;
    }
    const unsigned long number = std::strtoul(text.c_str() + 7, nullptr, 10);
    const std::string whole = NumberedText(number).substr(0, TextMax);
    const bool isCut =
        TextMax < std::string::npos && whole.starts_with(text) && whole[text.size()] == '\n';
    Cut += isCut ? 1U : 0U;
    if ((text != whole && !isCut) || number <= Last) {
        AddTorn(entry);
        return;
    }
    Missed += number - Last - 1;
    const unsigned long missed = BytesBetween(Last + 1, number);
    // What was gone before the first look need not be told.
    UntoldLosses += missed != 0 && !m_IsTold && Entries != 0 ? 1U : 0U;
    ++Entries;
    // How many rounds were missed is known to within the dots of each: of a few only.
    WrongLosses += m_IsTold && missed < 20 * Round && !IsRightLoss(m_Told, missed, *this) ? 1U : 0U;
    m_IsTold = false;
    m_Told = 0;
    Last = number;
}
