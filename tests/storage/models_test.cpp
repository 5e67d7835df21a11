// A bounded run of the fuzz target of temporary storage, which aborts where a class differs from its model.

#define LLVMFuzzerTestOneInput editStorage
#include "fuzz/storage_fuzz.cpp"

#include "tests/storage/support.h"

namespace {

using StorageModels = storagetest::StorageTest;

TEST_F(StorageModels, AgreeAfterRandomSteps) {
  Dice dice(1);
  for (unsigned kind = 0; kind < storagefuzz::kKinds; ++kind) {
    SCOPED_TRACE(kind);
    // The clock of the page pool has to pass its 65535 uses.
    const bool isPool = kind >= 18 && kind < 21;
    std::vector<uint8_t> commands = dice.bytes(isPool ? 350000 : 25000);
    commands[0] = static_cast<uint8_t>(kind);
    ASSERT_EQ(editStorage(commands.data(), commands.size()), 0);
    EXPECT_EQ(filesLeft(), 0u) << "files have no names";
    errors.clearErrors();
  }
}

}  // namespace
