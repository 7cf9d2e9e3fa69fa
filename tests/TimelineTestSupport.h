#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "StorageTestSupport.h"
#include "writers/timeline/DataRecords.h"
#include "writers/timeline/InfoRecords.h"
#include "writers/timeline/QuantityInfos.h"
#include "writers/timeline/TimelineOutput.h"

/// What the tests of the timeline file's records share.
namespace timeline_test {

inline const std::string kPrefix = "WARNING: KorvellWriterPlugin:    ";
inline const std::string kFailed = kPrefix + "Failed to write ";

/// The lower half of a timeline writer, and the file that it leaves.
struct Rig {
  explicit Rig(bool legacy = false, const std::string& baseName = "run")
      : output(baseName), infos(output, legacy), data(output, infos, quantities, legacy) {
    infos.setStreamKey(0);
  }
  int writeEmpty(std::uint64_t key) {
    AttributeList none;
    return data.writeZt2Record(0, key, &none);
  }
  /// All that was written. An empty data record at the end keeps the file.
  std::string file() {
    EXPECT_EQ(writeEmpty(pwrfile::kNone - 1), 0);
    EXPECT_EQ(output.close(), 0);
    const std::string text = readFile("run.pwr");
    return text.substr(0, std::max<std::size_t>(text.size(), 22) - 22);
  }

  TimelineOutput output;
  InfoRecords infos;
  QuantityInfos quantities{infos};
  DataRecords data;
};

class TimelineTest : public storage_test::StorageTest {
 protected:
  /// What the operation logs; it has to return `status`.
  template <typename Operation>
  std::string logOf(int status, const Operation& operation) {
    log_.clear();
    EXPECT_EQ(operation(), status);
    return log_.all();
  }
};

}  // namespace timeline_test
