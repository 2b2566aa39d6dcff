// A ring in memory whose writer goes on between any two bytes of a read, by a seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "trace_reader/trace_bytes.h"

// Imitates the writer of trace/debug_ring_buffer.cpp store by store: what a reader of another
// process can see is the ring after any of them. Each read is in pieces, between which the writer
// takes some steps: none, a few, those of some entries, or now and then more than a round.
class CRingModel : public trace_reader::CTraceBytes {
public:
    CRingModel(std::uint64_t seed, std::size_t size);

    [[nodiscard]] std::uint64_t Size() const override { return m_Ring.size(); }
    using CTraceBytes::Read;
    [[nodiscard]] std::size_t Read(std::uint64_t offset, char* buffer,
                                   std::size_t length) const override;

    // Finishes what is begun, and writes no more.
    void Stop();
    void Write(unsigned long entries);
    [[nodiscard]] unsigned long Written() const { return m_Number; }
    [[nodiscard]] std::uint64_t Restart() const { return m_Restart; }

private:
    struct Store {
        std::size_t Offset;
        std::string Bytes;
    };

    [[nodiscard]] std::size_t Random(std::size_t below) const { return m_Random() % below; }
    void Advance(std::size_t stores);
    void AdvanceSomewhat();
    void Put(std::size_t offset, const std::string& bytes);
    void Publish(const std::string& entry);
    void Compose(const std::string& text);
    void WriteHeader();
    void NextEntry();
    [[nodiscard]] std::string Header();

    std::string m_Ring;
    mutable std::mt19937_64 m_Random;
    std::vector<Store> m_Stores;  // of what is being written
    std::size_t m_Done = 0;       // of them
    std::size_t m_Position = 0;
    std::size_t m_Restart = 0;
    std::uint64_t m_Milliseconds = 0;
    unsigned long m_Number = 0;
    std::size_t m_Haste = 1;
    bool m_IsStopped = false;
};
