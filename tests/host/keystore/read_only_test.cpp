// A store whose file system is read-only can be read, from its copy if need be.

#include <gmock/gmock.h>

#include <cerrno>
#include <fstream>
#include <functional>

#include "io_faults.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "store_state.h"
#include "support/temp_directory.h"

namespace host {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::ThrowsMessage;

using std::filesystem::path;

class ReadOnly : public ::testing::Test {
 protected:
  ReadOnly() {
    KeyStore(m_Files.StateDir(), m_Files.RunDir()).Set("db/key", 31);
    CopyKeyFile(m_Files.Durable(), CopyOf(m_Files.Durable()));
    KeyStore(m_Files.StateDir(), m_Files.RunDir()).Set("db/key", 32);
  }

  void Overwrite(const path& file) const { std::ofstream(file) << std::string(8192, 'x'); }

  std::unique_ptr<KeyStore> Open() const {
    return std::make_unique<KeyStore>(m_Files.StateDir(), m_Files.RunDir());
  }

  void ExpectRefused(KeyStore& store) const {
    try {
      store.Set("db/key", 33);
      ADD_FAILURE() << "a read-only file was written";
    } catch (const StoreError& error) {
      EXPECT_EQ(error.Error(), EROFS) << error.what();
    }
  }

  support::TempDirectory m_Directory;
  const StoreFiles m_Files{m_Directory.Path()};
};

TEST_F(ReadOnly, AWholeFileIsRead) {
  const ReadOnlyFiles readOnly(m_Files.StateDir());
  const auto store = Open();
  EXPECT_EQ(store->Get("db/key"), KeyValue(32));
  ExpectRefused(*store);
  EXPECT_TRUE(store->Set("memory/key", 1));
}

TEST_F(ReadOnly, TheCopyOfAFileThatIsDamagedOrMissingIsReadWhereItIs) {
  const path file = m_Files.Durable();
  for (const std::function<void()>& harm :
       {std::function<void()>([&] { Overwrite(file); }),
        std::function<void()>([&] { std::filesystem::resize_file(file, 0); }),
        std::function<void()>([&] { std::filesystem::remove(file); })}) {
    harm();
    const std::uintmax_t before = LogSize();
    const ReadOnlyFiles readOnly(m_Files.StateDir());
    const auto store = Open();
    EXPECT_EQ(store->Get("db/key"), KeyValue(31));
    EXPECT_EQ(Open()->Get("db/key"), KeyValue(31));
    ExpectRefused(*store);
    EXPECT_THAT(LogSince(before), AllOf(HasSubstr(" E "), HasSubstr(file.string() + " is "),
                                        HasSubstr(CopyOf(file).string() + " is read")));
    EXPECT_THAT(SetAsideFiles(file), IsEmpty());
  }
}

TEST_F(ReadOnly, WithoutAGoodCopyTheFailureNamesTheFileAndWhatToDo) {
  const path file = m_Files.Durable();
  Overwrite(file);
  Overwrite(CopyOf(file));
  for (const bool isEmpty : {false, true}) {
    SCOPED_TRACE(isEmpty);
    if (isEmpty) {
      std::filesystem::resize_file(CopyOf(file), 0);
    }
    const ReadOnlyFiles readOnly(m_Files.StateDir());
    EXPECT_THAT([&] { Open(); },
                ThrowsMessage<StoreError>(AllOf(HasSubstr(file.string() + " is not a database"),
                                                HasSubstr("read-only"), Not(HasSubstr("-wal")))));
  }
}

}  // namespace
}  // namespace host
