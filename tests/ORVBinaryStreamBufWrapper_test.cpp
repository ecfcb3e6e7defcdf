// Two wrappers stacked over an in-memory buffer behave as that buffer alone,
// whatever mix of peeks, reads, writes, seeks, copies and truncations reaches
// them. Peeks into the medium itself are left out: its store is a snapshot
// that a later Put does not update, which the plain buffer would not share.
// A fixed count: this program links only the base library, not the file
// library's test support that reads ORV_TEST_SCALE.
#include <gtest/gtest.h>

#include <memory>

#include "BufferModel.h"
#include "ORVBinaryStreamBufWrapper.h"

TEST(BinaryStreamBufWrapper, StackedWrappersMatchThePlainBuffer) {
  std::unique_ptr<ORV::BinaryStreamMemory> medium;
  std::unique_ptr<ORV::BinaryStreamBufWrapper> inner;
  model::Driver(20261122).Run(50000, 2000, [&](model::Driver&) {
    medium = std::make_unique<ORV::BinaryStreamMemory>();
    inner = std::make_unique<ORV::BinaryStreamBufWrapper>(*medium);
    return model::Pair{std::make_unique<ORV::BinaryStreamBufWrapper>(*inner),
                       std::make_unique<ORV::BinaryStreamMemory>()};
  });
}
