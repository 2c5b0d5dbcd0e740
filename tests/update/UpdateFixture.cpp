#include "tests/update/UpdateFixture.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/VersionedFile.h"

namespace rotalis::test {

LetterFolder::LetterFolder() {
  std::random_device seed;
  std::mt19937 random(seed());
  std::uniform_int_distribution<int> letter(0, 25);
  const std::filesystem::path temp = std::filesystem::temp_directory_path();
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::string name = "rotalis-update-";
    for (int i = 0; i < 10; ++i) name += static_cast<char>('a' + letter(random));
    if (std::filesystem::create_directory(temp / name)) {
      path_ = (temp / name).string() + "/";
      return;
    }
  }
  throw std::runtime_error("cannot create a folder under " + temp.string());
}

LetterFolder::~LetterFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string LetterFolder::Write(const std::string& relative, const std::string& bytes) const {
  const std::filesystem::path file = path_ + relative;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out << bytes;
  if (!out) throw std::runtime_error("cannot write " + file.string());
  return file.string();
}

std::string LetterFolder::Read(const std::string& relative) const {
  std::ifstream in(path_ + relative, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path_ + relative);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

bool LetterFolder::Exists(const std::string& relative) const {
  return std::filesystem::exists(path_ + relative);
}

UpdateTest::UpdateTest() {
  here.folder = app.Path();
  here.executablePath = app / "rotalis";
  WriteVersionedFile(here.executablePath, 1, 2, 3, 4);
  here.deployment.updateServer = "127.0.0.1";
}

std::string UpdateTest::InstallerScript() const {
  // One line per start: name, then each argument, then PATH, tab-separated.
  return "#!/bin/sh\n"
         "line=\"${0##*/}\"\n"
         "for a in \"$@\"; do line=\"$line\t$a\"; done\n"
         "printf '%s\\tPATH=%s\\n' \"$line\" \"$PATH\" >> '" +
         app / "runs.log" + "'\n";
}

std::string UpdateTest::PutInstaller(const std::string& name) const {
  const std::string path = app.Write("atualizadores_versao/" + name, InstallerScript());
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  return path;
}

std::vector<InstallerRun> UpdateTest::Runs() const {
  std::vector<InstallerRun> runs;
  if (!app.Exists("runs.log")) return runs;
  std::istringstream lines(app.Read("runs.log"));
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> fields;
    std::istringstream parts(line);
    for (std::string field; std::getline(parts, field, '\t');) fields.push_back(field);
    InstallerRun run;
    run.name = fields.front();
    for (std::size_t i = 1; i < fields.size(); ++i) {
      if (fields[i].rfind("PATH=", 0) == 0)
        run.path = fields[i].substr(5);
      else
        run.arguments.push_back(fields[i]);
    }
    runs.push_back(run);
  }
  return runs;
}

}  // namespace rotalis::test
