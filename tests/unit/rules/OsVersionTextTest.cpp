#include "common/config/OsVersionText.h"

#include <string>

#include <gtest/gtest.h>

namespace zuvia {
namespace {

struct Row {
  OsVersion version;
  std::wstring text;
};

void PrintTo(const Row& row, std::ostream* stream) {
  *stream << row.version.major << '.' << row.version.minor << '.' << row.version.build << " of type "
          << unsigned{row.version.productType};
}

constexpr uint8_t kWorkstation = 1;
constexpr uint8_t kDomainController = 2;
constexpr uint8_t kServer = 3;

class OsVersionTable : public testing::TestWithParam<Row> {};

TEST_P(OsVersionTable, NamesTheSystem) {
  EXPECT_TRUE(osVersionText(GetParam().version) == GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Workstation, OsVersionTable,
                         testing::Values(Row{{10, 0, 22000, kWorkstation}, L"Windows 11 (Build 22000)"},
                                         Row{{10, 0, 26100, kWorkstation}, L"Windows 11 (Build 26100)"},
                                         Row{{10, 0, 21999, kWorkstation}, L"Windows 10 (Build 21999)"},
                                         Row{{10, 0, 0, kWorkstation}, L"Windows 10 (Build 0)"},
                                         Row{{6, 1, 7601, kWorkstation}, L"Windows (Version 6.1, Build 7601)"},
                                         Row{{10, 1, 22000, kWorkstation}, L"Windows (Version 10.1, Build 22000)"},
                                         Row{{11, 0, 30000, kWorkstation}, L"Windows (Version 11.0, Build 30000)"}));

INSTANTIATE_TEST_SUITE_P(Server, OsVersionTable,
                         testing::Values(Row{{10, 0, 20348, kServer}, L"Windows Server 2022 (Build 20348)"},
                                         Row{{10, 0, 26100, kServer}, L"Windows Server 2022 (Build 26100)"},
                                         Row{{10, 0, 20347, kServer}, L"Windows Server 10.0 (Build 20347)"},
                                         Row{{10, 0, 17763, kServer}, L"Windows Server 2019 (Build 17763)"},
                                         Row{{10, 0, 17764, kServer}, L"Windows Server 10.0 (Build 17764)"},
                                         Row{{10, 0, 17762, kServer}, L"Windows Server 10.0 (Build 17762)"},
                                         Row{{10, 0, 14393, kServer}, L"Windows Server 2016 (Build 14393)"},
                                         Row{{10, 0, 14394, kServer}, L"Windows Server 10.0 (Build 14394)"},
                                         Row{{10, 0, 14392, kServer}, L"Windows Server 10.0 (Build 14392)"},
                                         Row{{10, 1, 20348, kServer}, L"Windows Server (Version 10.1, Build 20348)"},
                                         Row{{6, 0, 6003, kServer}, L"Windows Server 2008 (Build 6003)"},
                                         Row{{6, 1, 7601, kServer}, L"Windows Server 2008 R2 (Build 7601)"},
                                         Row{{6, 2, 9200, kServer}, L"Windows Server 2012 (Build 9200)"},
                                         Row{{6, 3, 9600, kServer}, L"Windows Server 2012 R2 (Build 9600)"},
                                         Row{{6, 4, 9841, kServer}, L"Windows Server 6.x (Build 9841)"},
                                         Row{{6, 9, 1, kServer}, L"Windows Server 6.x (Build 1)"},
                                         Row{{5, 2, 3790, kServer}, L"Windows Server (Version 5.2, Build 3790)"},
                                         Row{{11, 0, 1, kServer}, L"Windows Server (Version 11.0, Build 1)"}));

INSTANTIATE_TEST_SUITE_P(OtherTypes, OsVersionTable,
                         testing::Values(Row{{10, 0, 20348, kDomainController},
                                             L"Windows Server (Unknown Type, Build 20348)"},
                                         Row{{10, 0, 22000, 0}, L"Windows Server (Unknown Type, Build 22000)"},
                                         Row{{6, 1, 7601, 4}, L"Windows Server (Unknown Type, Build 7601)"}));

TEST(OsVersionText, WithoutAProductTypeOnlyTheNumbersAreTold) {
  EXPECT_TRUE(plainOsVersionText({10, 0, 22000, 0}) == L"Windows (Version 10.0, Build 22000)");
}

TEST(OsVersionText, StaysBelow255CharactersWhateverTheNumbers) {
  EXPECT_LT(osVersionText({0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, kWorkstation}).size(), 255U);
}

}  // namespace
}  // namespace zuvia
