// The export table, the files derived from it, and what the shared library
// actually exports.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Entry {
  int ordinal;
  std::string name;
};

std::vector<Entry> read_table() {
  std::ifstream in(TAV_SOURCE_DIR "/src/frame/exports.tbl");
  std::vector<Entry> entries;
  std::string line;
  while (std::getline(in, line)) {
    line = line.substr(0, line.find('#'));
    std::istringstream fields(line);
    Entry e;
    if (fields >> e.ordinal >> e.name) entries.push_back(e);
  }
  return entries;
}

std::string read_file(const std::string &path) {
  std::ifstream in(path);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::set<std::string> exported_by_shared_library() {
  std::set<std::string> names;
  FILE *pipe = popen("nm -D --defined-only " TAV_SO_PATH " 2>/dev/null", "r");
  if (!pipe) return names;
  char line[512];
  while (std::fgets(line, sizeof line, pipe)) {
    std::istringstream fields(line);
    std::string address, type, name;
    if (!(fields >> address >> type >> name)) continue;
    // Linker-made markers are not routines.
    if (type == "A" || name == "_init" || name == "_fini") continue;
    names.insert(name.substr(0, name.find('@')));
  }
  pclose(pipe);
  return names;
}

TEST(ExportTable, TwoHundredNamesInGaplessBands) {
  std::vector<Entry> table = read_table();
  ASSERT_EQ(table.size(), 200u);
  EXPECT_EQ(table.front().ordinal, 400);
  EXPECT_EQ(table.back().ordinal, 5411);

  std::set<std::string> names;
  std::map<int, std::vector<int>> bands;  // band (ordinal / 100) -> ordinals
  for (const Entry &e : table) {
    EXPECT_TRUE(names.insert(e.name).second) << "duplicate " << e.name;
    bands[e.ordinal / 100].push_back(e.ordinal);
  }
  const std::map<int, int> band_sizes = {{4, 2},   {11, 19}, {12, 19}, {13, 19}, {14, 19},
                                         {21, 16}, {22, 16}, {23, 17}, {24, 17}, {31, 7},
                                         {32, 7},  {33, 9},  {34, 9},  {44, 12}, {54, 12}};
  ASSERT_EQ(bands.size(), band_sizes.size());
  for (const auto &[band, ordinals] : bands) {
    ASSERT_EQ(band_sizes.count(band), 1u) << "unexpected band " << band;
    EXPECT_EQ(static_cast<int>(ordinals.size()), band_sizes.at(band)) << "band " << band;
    for (size_t i = 0; i < ordinals.size(); ++i)
      EXPECT_EQ(ordinals[i], band * 100 + static_cast<int>(i)) << "gap in band " << band;
  }
}

TEST(ExportTable, KnownOrdinals) {
  std::map<int, std::string> by_ordinal;
  for (const Entry &e : read_table()) by_ordinal[e.ordinal] = e.name;
  EXPECT_EQ(by_ordinal[400], "_default_xerbla");
  EXPECT_EQ(by_ordinal[401], "_get_kerver");
  EXPECT_EQ(by_ordinal[1100], "tav_isamax");
  EXPECT_EQ(by_ordinal[1118], "tav_sswap");
  EXPECT_EQ(by_ordinal[3106], "tav_xssexy");
  EXPECT_EQ(by_ordinal[5411], "tav_zfft2dc");
}

TEST(ExportTable, WindowsDefinitionFileMatchesTable) {
  std::string in_tree = read_file(TAV_SOURCE_DIR "/src/frame/windows/tav_q7.def");
  std::string generated = read_file(TAV_BINARY_DIR "/tav_q7.def");
  ASSERT_FALSE(generated.empty());
  EXPECT_EQ(in_tree, generated) << "run: cmake --build <build> --target update_def";
  EXPECT_NE(generated.find("    tav_xssexy @3106\n"), std::string::npos);
}

TEST(SharedLibrary, ExportsOnlyNamesOfTheTable) {
  std::set<std::string> table;
  for (const Entry &e : read_table()) table.insert(e.name);
  std::set<std::string> exported = exported_by_shared_library();
  ASSERT_FALSE(exported.empty()) << "could not list the exports of " TAV_SO_PATH;
  for (const std::string &name : exported) EXPECT_EQ(table.count(name), 1u) << "extra export " << name;
  EXPECT_EQ(exported.count("_default_xerbla"), 1u);
  EXPECT_EQ(exported.count("_get_kerver"), 1u);
}

// Every routine the public header declares is implemented and exported.
TEST(SharedLibrary, ExportsEveryRoutineOfThePublicHeader) {
  std::string header = read_file(TAV_SOURCE_DIR "/include/tav_q7.h");
  std::set<std::string> exported = exported_by_shared_library();
  std::regex declaration(R"(\b(tav_[a-z0-9]+|_default_xerbla|_get_kerver)\s*\()");
  int declared = 0;
  for (std::sregex_iterator it(header.begin(), header.end(), declaration), end; it != end; ++it) {
    ++declared;
    EXPECT_EQ(exported.count((*it)[1].str()), 1u) << (*it)[1].str() << " is declared but not exported";
  }
  EXPECT_EQ(declared, static_cast<int>(exported.size())) << "exported routines missing from the header";
}

}  // namespace
