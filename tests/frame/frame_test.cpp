// Version string, lsame and the error route.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "frame/lsame.h"
#include "frame/xerbla.h"
#include "support/capture_stderr.h"
#include "tav_q7.h"

namespace {

const std::string first = "Ovrin(R) TAV V5.2.1 ";
const std::string second = "Torvane(R) VII ";

// The buffer sits inside a larger one filled with a marker, so writes outside
// [0, length) show.
std::string kerver(int length, std::string *outside = nullptr) {
  std::string area(length + 16, '\x7f');
  _get_kerver(&area[8], length);
  if (outside) *outside = area.substr(0, 8) + area.substr(8 + length);
  return area.substr(8, length);
}

TEST(GetKerver, EveryLengthCase) {
  for (int length = 1; length <= 80; ++length) {
    std::string outside;
    std::string got = kerver(length, &outside);
    std::string want;
    if (length <= 21) {
      want = first.substr(0, length - 1) + std::string(1, '\0');
    } else if (length <= 36) {
      want = first + second.substr(0, length - 21);
      want.resize(length, '\0');
    } else {
      want = first + second + std::string(1, '\0') + std::string(length - 36, ' ');
    }
    EXPECT_EQ(got, want) << "length " << length;
    EXPECT_EQ(outside, std::string(16, '\x7f')) << "length " << length;
  }
}

TEST(GetKerver, TerminatorStaysAtPlace35) {
  std::string got = kerver(64);
  EXPECT_EQ(got[35], '\0');
  EXPECT_EQ(got.substr(0, 35), first + second);
  EXPECT_EQ(got.substr(36), std::string(28, ' '));
  EXPECT_EQ(kerver(21), first + std::string(1, '\0'));
  EXPECT_EQ(kerver(22), first + "T" + std::string(1, '\0'));
  EXPECT_EQ(kerver(37).back(), ' ');
}

TEST(Lsame, FoldsOnlyLetters) {
  EXPECT_EQ(tav::lsame("n", "N"), -1);
  EXPECT_EQ(tav::lsame("N", "n"), -1);
  EXPECT_EQ(tav::lsame("N", "N"), -1);
  EXPECT_EQ(tav::lsame("1", "1"), -1);
  EXPECT_EQ(tav::lsame("[", "{"), 0);   // 32 apart, but not letters
  EXPECT_EQ(tav::lsame("@", "`"), 0);
  EXPECT_EQ(tav::lsame("T", "N"), 0);
  EXPECT_EQ(tav::lsame("Trans", "tRANS"), -1);  // first byte only
  EXPECT_EQ(tav::lsame("\xc1", "\xe1"), 0);     // bytes above ASCII are not letters
}

std::string report(const char *name, int info, int length) {
  return tavtest::capture_stderr([&] { _default_xerbla(name, &info, length); });
}

TEST(DefaultXerbla, ParameterNumbers) {
  EXPECT_EQ(report("CTPSV ", 9, 6), "TAV ERROR : Parameter 9 was incorrect on entry to CTPSV \n");
  EXPECT_EQ(report("CTPSV ", 11, 6), "TAV ERROR : Parameter 11 was incorrect on entry to CTPSV \n");
  EXPECT_EQ(report("ZHBMV ", 21, 6), "TAV ERROR : Parameter 11 was incorrect on entry to ZHBMV \n");
  EXPECT_EQ(report("ZHBMV ", 35, 6), "TAV ERROR : Parameter 15 was incorrect on entry to ZHBMV \n");
  EXPECT_EQ(report("ZHBMV ", 100, 6), "TAV ERROR : Parameter 10 was incorrect on entry to ZHBMV \n");
  EXPECT_EQ(report("X", 1, 1), "TAV ERROR : Parameter 1 was incorrect on entry to X\n");
}

TEST(DefaultXerbla, ConditionNumbers) {
  const std::string head = "TAV INTERNAL ERROR : Condition ";
  const std::string mid = " detected in function ";
  EXPECT_EQ(report("SSYRK ", 0, 6), head + "0" + mid + "SSYRK \n");
  EXPECT_EQ(report("SSYRK ", -7, 6), head + "7" + mid + "SSYRK \n");
  EXPECT_EQ(report("SSYRK ", -42, 6), head + "2" + mid + "SSYRK \n");
  EXPECT_EQ(report("SSYRK ", -999, 6), head + "9" + mid + "SSYRK \n");
  EXPECT_EQ(report("SSYRK ", -1000, 6), head + "1000" + mid + "SSYRK \n");
  EXPECT_EQ(report("SSYRK ", -1001, 6), head + "1001" + mid + "SSYRK \n");
  EXPECT_EQ(report("SSYRK ", -1234, 6), head + "1004" + mid + "SSYRK \n");
}

TEST(DefaultXerbla, NameIsCutByLengthThenToTen) {
  const std::string head = "TAV INTERNAL ERROR : Condition 0 detected in function ";
  EXPECT_EQ(report("xssexy_omp ", 0, 6), head + "xssexy\n");
  EXPECT_EQ(report("ABCDEFGHIJKLMNOP", 0, 10), head + "ABCDEFGHIJ\n");
  EXPECT_EQ(report("ABCDEFGHIJKLMNOP", 0, 30), head + "ABCDEFGHIJ\n");
  EXPECT_EQ(report("ABCDEFGHIJKLMNOP", 0, 3), head + "ABC\n");
  EXPECT_EQ(report("XCSFFT1DC", 0, 8), head + "XCSFFT1D\n");
  EXPECT_EQ(report("ABC", 0, 0), head + "\n");
}

// Records what the hook saw.
const char *seen_name;
const int *seen_info;
int seen_length;
void recording_hook(const char *name, const int *info, int length) {
  seen_name = name;
  seen_info = info;
  seen_length = length;
}

TEST(Xerbla, HookReplacesTheDefaultAndCanBeRemoved) {
  const char name[] = "STRSM ";
  const int info = -3;
  tav::xerbla_set_hook(recording_hook);
  std::string text = tavtest::capture_stderr([&] { tav::xerbla(name, &info, 6); });
  tav::xerbla_set_hook(nullptr);
  EXPECT_EQ(text, "");
  EXPECT_EQ(seen_name, name);
  EXPECT_EQ(seen_info, &info);
  EXPECT_EQ(seen_length, 6);

  text = tavtest::capture_stderr([&] { tav::xerbla(name, &info, 6); });
  EXPECT_EQ(text, "TAV INTERNAL ERROR : Condition 3 detected in function STRSM \n");
}

}  // namespace
