// What only Windows does in its own way: names, rights, limits and shared files.

// clang-format off: the other headers of the system need this one
#include <windows.h>
// clang-format on
#include <aclapi.h>
#include <sddl.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "TextTestSupport.h"
#include "writers/host/HostFunctions.h"

namespace {

using pwr::Data;

/// The access control list of a directory, as text.
std::string rightsTo(const std::filesystem::path& directory) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  if (GetNamedSecurityInfoW(directory.c_str(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                            nullptr, nullptr, nullptr, &descriptor) != ERROR_SUCCESS) {
    return "unknown";
  }
  char* list = nullptr;
  ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1,
                                                       DACL_SECURITY_INFORMATION, &list, nullptr);
  std::string text = list;
  LocalFree(list);
  LocalFree(descriptor);
  return text;
}

TEST(Windows, PrivateDirectoryIsTheOwnersAlone) {
  const TempFolder folder;
  const std::string rights = rightsTo(pwr::pathFromUtf8(folder.path()));
  EXPECT_NE(rights.find("(A;OICI;FA;;;S-1-5-21-"), std::string::npos) << rights;
  for (const char* others : {"WD", "AU", "BU", "BG", "AN", "IU"}) {
    EXPECT_EQ(rights.find(";;;" + std::string(others) + ")"), std::string::npos) << rights;
  }
}

TEST(Windows, NamesAreUtf8) {
  const TempFolder folder;
  const std::filesystem::path wide = pwr::pathFromUtf8(folder.path()) / L"Gr\u00F6\u00DFe-\u65E5";
  const std::string path = folder.path("Gr\u00F6\u00DFe-\u65E5");
  FILE* stream = nullptr;
  ASSERT_TRUE(pwr::openFileHandle(&stream, path.c_str(), "wb"));
  std::fputs("line\n", stream);
  std::fclose(stream);
  EXPECT_EQ(std::filesystem::file_size(wide), 5U) << "one byte ends a line";
  EXPECT_TRUE(pwr::platform::removeFile(path));
  EXPECT_FALSE(std::filesystem::exists(wide));

  const std::string directory = pwr::platform::createPrivateDirectory(folder.path("\u65E5"));
  EXPECT_EQ(directory, "") << "its parent is missing";
  EXPECT_EQ(errno, ENOENT);
}

TEST(Windows, SharedFileIsForOneAtATime) {
  const TempFolder folder;
  const std::string path = folder.path("shared");
  pwr::platform::SharedFile first;
  ASSERT_TRUE(first.open(path));
  std::atomic<bool> closed = false;
  std::thread other([&] {
    pwr::platform::SharedFile second;
    EXPECT_TRUE(second.open(path));
    EXPECT_TRUE(closed);
    char text[8];
    EXPECT_EQ(second.read(text, 3), 3);
    EXPECT_TRUE(second.append("def"));
    EXPECT_EQ(second.read(text + 3, 5), 1) << "only what was there at first";
    EXPECT_EQ(std::string(text, 4), "abcd");
    EXPECT_TRUE(second.close());
  });
  EXPECT_TRUE(first.append("ab"));
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  EXPECT_TRUE(first.append("cd"));
  closed = true;
  EXPECT_TRUE(first.close());
  other.join();
  EXPECT_EQ(readFile(path), "abcddef");
}

class WindowsTextTest : public text_test::TextTest {};

// The old C runtime allows 2048 files, and 512 unless it is asked for more.
TEST_F(WindowsTextTest, ManyTables) {
  pwr::platform::raiseOpenFileLimit();
  std::string expected;
  for (unsigned int n = 0; n < 2000; ++n) {
    const std::string title = "T" + std::to_string(n);
    EXPECT_EQ(define(text_test::simpleTable(1 + n / 100, n, title)), 0);
    expected += title + "\nV\n";
  }
  EXPECT_EQ(report(), expected);
  EXPECT_EQ(log_.all(), "");
  EXPECT_TRUE(privateDirectories().empty());
}

}  // namespace
