// Numbered entries of a writer, and what a reader saw of them: none torn, none lost without a word.
#pragma once

#include <string>

#include "trace_reader/entry_reader.h"

// The text of the entry of that number: of every length, now and then of several lines, and longer
// than what is composed in place.
std::string NumberedText(unsigned long number);

// What a reader saw of numbered entries, and what is wrong with it.
struct Seen {
    unsigned long Round = 0;       // bytes of a ring's round; of a log 0: amounts are not told
    unsigned long DotsMax = 5200;  // how many of them an entry that did not fit leaves at most
    std::size_t TextMax = std::string::npos;  // what a log keeps of an entry's text
    unsigned long Entries = 0;
    unsigned long Torn = 0;
    unsigned long Cut = 0;  // of a log: whole lines of an entry of several are missing at its end
    unsigned long Missed = 0;     // numbers that were left out
    unsigned long ToldBytes = 0;  // what the reader said is lost
    unsigned long Overtaken = 0;
    unsigned long UntoldLosses = 0;  // numbers that were left out without a word
    unsigned long WrongLosses = 0;   // what was told is not what was left out, up to whole rounds
    unsigned long Last = 0;

    void Check(const trace_reader::Entry& entry);
    void Tell(unsigned long bytes);

private:
    void AddTorn(const trace_reader::Entry& entry);
    unsigned long m_Told = 0;  // since the last entry
    bool m_IsTold = false;
};
