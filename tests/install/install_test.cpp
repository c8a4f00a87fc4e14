// The installed tree: everything here is built and run from a scratch prefix alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/matches.h"
#include "tests/support/run.h"

namespace {

namespace fs = std::filesystem;
using namespace test_support;

const std::string kSource = NXBRIO_SOURCE_DIR;
const std::string kBuild = NXBRIO_BUILD_DIR;
// Programs that link a library built with a sanitizer must be built with it, too.
const std::string kSanitize = *NXBRIO_SANITIZE == '\0' ? "" : "-fsanitize=" NXBRIO_SANITIZE;

class Install : public testing::Test {
 protected:
  // Installs to one place and moves the tree to another.
  void SetUp() override {
    const RunResult result = run({NXBRIO_CMAKE, "--install", kBuild, "--prefix", scratch_.path("first")});
    ASSERT_EQ(result.status, 0) << result.err;
    fs::rename(scratch_.path("first"), prefix_);
    ASSERT_TRUE(fs::is_directory(library_dir())) << "nothing in PREFIX/" NXBRIO_LIBDIR;
  }

  // Runs a command in the scratch directory, with the environment of a user who knows only the prefix.
  RunResult shell(const std::string& command) const {
    return run({"/bin/sh", "-c",
                "cd '" + scratch_.path("") + "' && export PKG_CONFIG_PATH='" + (library_dir() / "pkgconfig").string() +
                    "' && unset CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH LIBRARY_PATH LD_LIBRARY_PATH && " + command});
  }

  // Configures a project in C only, in the directory c.
  RunResult configure_c(const std::string& package, const std::string& targets) const {
    fs::create_directory(scratch_.path("c"));
    scratch_.write("c/CMakeLists.txt",
                   "cmake_minimum_required(VERSION 3.25)\nproject(client LANGUAGES C)\nfind_package(nxbriochem " +
                       package + " REQUIRED)\n" + targets);
    return shell("'" NXBRIO_CMAKE "' -S c -B c/build -DCMAKE_PREFIX_PATH=\"$PWD/moved\" -DCMAKE_C_COMPILER='" NXBRIO_CC
                 "' -DCMAKE_C_FLAGS='" +
                 kSanitize + "'");
  }

  fs::path library_dir() const { return fs::path(prefix_) / NXBRIO_LIBDIR; }

  std::vector<fs::path> headers() const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(prefix_) / "include")) {
      if (entry.is_regular_file()) {
        found.push_back(fs::relative(entry.path(), fs::path(prefix_) / "include"));
      }
    }
    return found;
  }

  ScratchDirectory scratch_;
  const std::string prefix_ = scratch_.path("moved");
};

// Whether a header is C: it has no namespace.
bool is_c(const std::string& header) { return header.find("\nnamespace ") == std::string::npos; }

bool is_there(const std::string& compiler) { return run({"/bin/sh", "-c", "command -v " + compiler}).status == 0; }

TEST_F(Install, TreeIsComplete) {
  const fs::path library = library_dir() / "libnxbriochem.so";
  EXPECT_EQ(fs::read_symlink(library), "libnxbriochem.so." NXBRIO_VERSION_MAJOR);
  EXPECT_EQ(fs::read_symlink(library.string() + "." NXBRIO_VERSION_MAJOR), "libnxbriochem.so." NXBRIO_VERSION);
  for (const char* file : {"bin/nxbrio", "share/man/man1/nxbrio.1", "share/bash-completion/completions/nxbrio",
                           "share/doc/nxbriochem/README.md", "share/doc/nxbriochem/docs/docking.md",
                           "share/doc/nxbriochem/examples/docking.c", "include/nxbriochem/nxbriochem.h",
                           "include/nxbriochem/molecules/memmgr.h"}) {
    EXPECT_TRUE(fs::is_regular_file(fs::path(prefix_) / file)) << file;
  }
  EXPECT_TRUE(fs::is_regular_file(library_dir() / "libnxbriochem.a"));
  // No private header is installed, and no file contains a path of the source, of the build or of the first prefix.
  for (const fs::path& header : headers()) {
    EXPECT_FALSE(header.string().ends_with("_state.h")) << header;
  }
  const RunResult found = shell("grep -rIl -e '" + kSource + "' -e '" + kBuild + "' -e '" + scratch_.path("first") +
                                "' moved; [ $? -eq 1 ]");
  EXPECT_EQ(found.status, 0) << found.out;
}

TEST_F(Install, ProgramFindsTheLibraryFromItsOwnPlace) {
  const RunResult result = shell("moved/bin/nxbrio --version && ldd moved/bin/nxbrio");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(result.out.starts_with("nxbrio " NXBRIO_VERSION "\n")) << result.out;
  EXPECT_NE(result.out.find(fs::canonical(prefix_).string() + "/bin/../" NXBRIO_LIBDIR "/libnxbriochem.so."),
            std::string::npos)
      << result.out;
}

// The command line is the README's.
TEST_F(Install, CProgramIsBuiltThroughPkgConfig) {
  const std::string readme = read_file(kSource + "/README.md");
  const Groups line = first_match(readme, "\n    (cc examples/first\\.c [^\n]*pkg-config[^\n]*)\n");
  ASSERT_FALSE(line.empty());
  fs::create_directory(scratch_.path("examples"));
  fs::copy_file(kSource + "/examples/first.c", scratch_.path("examples/first.c"));
  std::string build = line[1];
  build.replace(0, 2, NXBRIO_CC " " + kSanitize);
  RunResult result = shell(build);
  ASSERT_EQ(result.status, 0) << build << "\n" << result.err;
  result = shell("LD_LIBRARY_PATH='" + library_dir().string() + "' ./first water.pdb");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("writing: errors 0\nmemory held: 0 bytes\n"), std::string::npos) << result.out;

  if (kSanitize.empty()) {  // sanitizers do not work in a static program
    result =
        shell(NXBRIO_CC " examples/first.c -static $(pkg-config --static --cflags --libs nxbriochem) -o first_static");
    ASSERT_EQ(result.status, 0) << result.err;
    const RunResult alone = shell("./first_static water.pdb");
    EXPECT_EQ(alone.status, 0) << alone.err;
    EXPECT_NE(alone.out.find("writing: errors 0\nmemory held: 0 bytes\n"), std::string::npos) << alone.out;
  }
  EXPECT_EQ(shell("pkg-config --modversion nxbriochem").out, NXBRIO_VERSION "\n");
}

// The project is the README's.
TEST_F(Install, CxxProgramIsBuiltThroughFindPackage) {
  const std::string client = kSource + "/tests/install/client";
  const std::string project = read_file(client + "/CMakeLists.txt");
  EXPECT_NE(read_file(kSource + "/README.md").find(project.substr(0, project.find("\nadd_executable(client_static"))),
            std::string::npos);
  fs::copy(client, scratch_.path("client"));
  RunResult result =
      shell("'" NXBRIO_CMAKE
            "' -S client -B build -DCMAKE_EXPORT_COMPILE_COMMANDS=ON"
            " -DCMAKE_PREFIX_PATH=\"$PWD/moved\" -DCMAKE_CXX_COMPILER='" NXBRIO_CXX "' -DCMAKE_CXX_FLAGS='" +
            kSanitize + "' && '" NXBRIO_CMAKE "' --build build");
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(read_file(scratch_.path("build/compile_commands.json")).find(kSource), std::string::npos);
  result = shell("build/client && build/client_static && ldd build/client_static");
  EXPECT_EQ(result.status, 0) << result.err;
  const std::string answer = "atoms 3, bonds 2, handle -1, x 0.757, errors 0\n";
  EXPECT_TRUE(result.out.starts_with(answer + answer)) << result.out;
  EXPECT_EQ(result.out.find("libnxbriochem"), std::string::npos) << result.out;

  // A request for another major version or for an unknown component must be refused.
  EXPECT_NE(configure_c(std::to_string(std::stoi(NXBRIO_VERSION_MAJOR) + 1), "").err.find("version: " NXBRIO_VERSION),
            std::string::npos);
  EXPECT_NE(configure_c("COMPONENTS nothing", "").err.find("nxbriochem has no component nothing here"),
            std::string::npos);
}

// Programs in C that use the two other libraries, built as their pages say.
TEST_F(Install, CProgramsTakeTheOtherLibraries) {
  const struct {
    const char* library;
    const char* program;
    const char* source;
  } cases[] = {
      {"nxbriofiles", "structures", ""},
      {"nxbriodock", "score",
       "#include <nxbriodock/nxbriodock.h>\n#include <stdio.h>\nint main(void) {\n"
       "  const double at[3] = {0, 0, 0}, away[3] = {4, 0, 0}, charge = 1.0, pose[NXD_POSE] = {1};\n"
       "  const int element = 11;\n  double energy = 0;\n  const int score = nxd_make_energy();\n"
       "  nxd_set_target_arrays(at, &charge, &element, 1, score);\n"
       "  nxd_set_ligand_arrays(away, &charge, &element, 1, score);\n"
       "  if (nxd_get_energy_at_pose(pose, &energy, NULL, NULL, score) != 1) return 1;\n"
       "  printf(\"%s\\n\", energy > 0 ? \"apart\" : \"together\");\n  return nxd_delete_energy(score) != 1;\n}\n"}};
  std::string project;
  std::string components;
  fs::create_directory(scratch_.path("c"));
  for (const auto& [library, program, source] : cases) {
    const std::string file = std::string(program) + ".c";
    scratch_.write("c/" + file, *source == '\0' ? read_file(kSource + "/examples/" + file) : source);
    const RunResult built = shell(NXBRIO_CC " " + kSanitize + " c/" + file + " $(pkg-config --cflags --libs " +
                                  library + ") -o by_pkg_config_" + program);
    ASSERT_EQ(built.status, 0) << built.err;
    project.append("add_executable(")
        .append(program)
        .append(" ")
        .append(file)
        .append(")\ntarget_link_libraries(")
        .append(program)
        .append(" nxbriochem::")
        .append(library)
        .append(")\n");
    components.append(" ").append(library);
  }
  RunResult result = configure_c("COMPONENTS" + components, project);
  ASSERT_EQ(result.status, 0) << result.err;
  result = shell("'" NXBRIO_CMAKE "' --build c/build");
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  for (const auto& one : cases) {
    const RunResult by_cmake = shell(std::string("c/build/") + one.program);
    const RunResult by_pkg_config =
        shell("LD_LIBRARY_PATH='" + library_dir().string() + "' ./by_pkg_config_" + one.program);
    EXPECT_EQ(by_cmake.status, 0) << by_cmake.out << by_cmake.err;
    EXPECT_EQ(by_pkg_config.status, 0) << by_pkg_config.err;
    EXPECT_EQ(by_cmake.out, by_pkg_config.out);
    EXPECT_NE(by_cmake.out.find(one.program == std::string("score") ? "apart" : "charges formal"), std::string::npos)
        << by_cmake.out;
  }
}

// The static library must bring the C++ libraries into a C project.
TEST_F(Install, CProjectTakesTheStaticLibrary) {
  fs::create_directory(scratch_.path("c"));
  fs::copy_file(kSource + "/examples/first.c", scratch_.path("c/first.c"));
  RunResult result = configure_c("",
                                 "add_executable(first first.c)\n"
                                 "target_link_libraries(first nxbriochem::nxbriochem_static)\n");
  ASSERT_EQ(result.status, 0) << result.err;
  result = shell("'" NXBRIO_CMAKE "' --build c/build && c/build/first water.pdb");
  EXPECT_EQ(result.status, 0) << result.out << result.err;
}

// Each header is compiled by itself, so that none depends on the includes of another; the umbrella header with every
// installed compiler.
TEST_F(Install, EveryHeaderCompilesAlone) {
  std::string c_files;
  std::string cxx_files;
  int count = 0;
  fs::create_directory(scratch_.path("alone"));
  for (const fs::path& header : headers()) {
    const std::string include = "#include <" + header.string() + ">\ntypedef int nothing_else;\n";
    const std::string stem = std::string("alone/").append(std::to_string(count++));
    scratch_.write(stem + ".cpp", include);
    cxx_files.append(" ").append(stem).append(".cpp");
    if (is_c(read_file(prefix_ + "/include/" + header.string()))) {
      scratch_.write(stem + ".c", include);
      c_files.append(" ").append(stem).append(".c");
    }
  }
  EXPECT_GT(count, 20);
  scratch_.write("umbrella.c", "#include <nxbriochem/nxbriochem.h>\nint main(void) { return nx_new_errors(); }\n");
  const std::string strict = " -Wall -Wextra -Werror -pedantic -fsyntax-only -Imoved/include ";
  RunResult result = shell(NXBRIO_CC " -std=c11 -Wstrict-prototypes" + strict + c_files);
  EXPECT_EQ(result.status, 0) << result.err;
  for (const std::string standard : {"17", "20"}) {
    result = shell(NXBRIO_CXX " -std=c++" + standard + strict + cxx_files);
    EXPECT_EQ(result.status, 0) << result.err;
  }
  for (const std::string compiler : {"gcc -std=c11 -Wstrict-prototypes", "clang -std=c11 -Wstrict-prototypes",
                                     "g++ -std=c++11 -x c++", "clang++ -std=c++11 -x c++"}) {
    if (is_there(compiler.substr(0, compiler.find(' ')))) {
      result = shell(compiler + strict + "umbrella.c");
      EXPECT_EQ(result.status, 0) << compiler << "\n" << result.err;
    }
  }
}

// nxbriochem.h must give access to what its subject needs, wherever that is declared.
TEST_F(Install, HeadersHaveTheirSubjects) {
  const struct {
    const char* header;
    std::vector<std::string> names;
  } cases[] = {{"molecules/briochem.h", {"nx_get_molecule_object_from_file", "nxi_read_pdb", "nxi_write_pdb"}},
               {"geometry/matrix.h", {"Roots", "nx_SolveQuartic"}},
               {"toolkit/nxchem.h", {"NxChem::NxGetAtomicSymbol"}},
               {"molecules/memmgr.h", {"NxChem::NxGetAtomicSymbol", "NxBrioChem::NxDerefMolHandle"}},
               {"nxbriochem.h", {"NxBrioChem::NxDerefMolHandle", "NxChem::NxGetAtomicSymbol", "NxSystem::NxGetTag"}}};
  int count = 0;
  for (const auto& [header, names] : cases) {
    std::string source = std::string("#include <nxbriochem/") + header + ">\nint main() {\n";
    for (const std::string& name : names) {
      source.append("  static_cast<void>(&").append(name).append(");\n");
    }
    const std::string file = scratch_.write("subject" + std::to_string(count++) + ".cpp", source + "}\n");
    const RunResult result = shell(NXBRIO_CXX " -std=c++17 -Werror -fsyntax-only -Imoved/include " + file);
    EXPECT_EQ(result.status, 0) << header << "\n" << result.err;
  }
}

}  // namespace
