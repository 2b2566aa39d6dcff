#include "tests/support/wait_for.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cstring>
#include <thread>

#include <gtest/gtest.h>

#include "base/file_mapping.h"
#include "base/unique_fd.h"
#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"

namespace {

TEST(WaitFor, FindsTextThatComesByWriteOrThroughAMapping) {
    RequirePrivateRoot();
    const std::string path = "/tmp/wait_for/file";
    EXPECT_FALSE(WaitForText(path, "text", std::chrono::milliseconds(1)));

    std::thread writer([&] { WriteFile(path, "first text"); });
    EXPECT_TRUE(WaitForText(path, "first text"));
    writer.join();

    const CUniqueFd fd(open(path.c_str(), O_RDWR | O_CLOEXEC));
    const CFileMapping mapping(mmap(nullptr, 10, PROT_READ | PROT_WRITE, MAP_SHARED, fd.Get(), 0),
                               10);
    std::thread mapper([&] { std::memcpy(mapping.Data(), "other", 5); });
    EXPECT_TRUE(WaitForText(path, "other text"));
    mapper.join();
}

}  // namespace
