#include "host/ExportCommand.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "Brannow/Brannow.h"
#include "host/Failure.h"
#include "host/HostSession.h"
#include "host/SceneDriver.h"
#include "host/TerminalText.h"
#include "platform/system/FileSystem.h"
#include "plugins/frei0r/ElfSection.h"
#include "plugins/frei0r/Export.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostBytes = std::size_t{64} << 20;

std::string contentsOf(const fs::path& file) {
  platform::ReadFailure failure;
  auto contents = platform::readFile(file, kMostBytes, &failure);
  if (!contents) throw Failure{file.string() + ": " + failure.text};
  return *std::move(contents);
}

/// The names in the composition's folder of the shaders and pictures that it needs.
std::vector<std::string> namedFiles(const fs::path& file) {
  const std::string& folder = platform::folderOfThisProcess();
  // The runtime's version that the user's settings remember is that of the user's cache.
  ::setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
  VuoCache::configGlobalCacheWithSavePath(folder);
  const auto item = VuoCache::fetchCachedExeForVuoFileSynchronously(file);
  const auto compile = VuoCache::lastCompileForVuoFile(file);
  if (!item || !compile || compile->failure) {
    throw Failure{"can't compile " + file.string() + "\n" +
                  (compile ? compile->failure.value_or("") : "")};
  }
  std::vector<std::string> names;
  for (const auto& path : compile->files)
    names.push_back(fs::path(path).lexically_relative(file.parent_path()));
  return names;
}

/// The text file that is read where the host names no other.
std::optional<std::string> textFile(const ZQVuoComposition& composition) {
  const auto& port = composition.runnerTxtSrcFileInputPort();
  const auto value = port ? port->defaultVal() : nullptr;
  const std::string* name = value ? value->stringValue() : nullptr;
  return name && !name->empty() ? std::optional(*name) : std::nullopt;
}

frei0r::Export gather(const fs::path& file, const ZQVuoComposition& composition) {
  auto names = namedFiles(file);
  if (const auto text = textFile(composition)) names.push_back(*text);
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());
  frei0r::Export result;
  result.files.push_back({file.filename(), contentsOf(file)});
  std::size_t size = result.files.front().contents.size();
  for (const auto& name : names) {
    result.files.push_back({name, contentsOf(file.parent_path() / name)});
    size += result.files.back().contents.size();
  }
  if (size > kMostBytes) {
    throw Failure{file.string() + ": the composition and its files have " +
                  std::to_string(size >> 20) + " MiB, and a plug-in holds at most " +
                  std::to_string(kMostBytes >> 20)};
  }
  return result;
}

/// Beside the framework's bundle.
fs::path ownTemplate() {
  Dl_info info{};
  ::dladdr(reinterpret_cast<const void*>(&BrannowVersion::text), &info);
  std::error_code error;
  const fs::path library = fs::canonical(info.dli_fname ? info.dli_fname : "", error);
  return library.parent_path().parent_path().parent_path().parent_path() / "frei0r.so";
}

std::string templateContents(const std::optional<std::string>& named) {
  const fs::path file = named ? fs::path(*named) : ownTemplate();
  if (!named && !fs::exists(file)) {
    throw Failure{"there is no " + file.string() +
                  " to make a plug-in from: install the package frei0r-brannow"};
  }
  return contentsOf(file);
}

void writePlugin(const ExportOptions& options) {
  const auto composition = readComposition(options.file);
  if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter) &&
      !composition->conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator)) {
    throw refusal(options.file,
                  "is neither image generator nor image filter, and frei0r knows nothing else");
  }
  const std::string base = templateContents(options.templateFile);
  const fs::path file = pathForCache(options.file);
  auto contents = gather(file, *composition);
  contents.inProcess = options.inProcess;
  const auto plugin =
      frei0r::withSection(base, frei0r::exportSection, frei0r::bytesFromExport(contents));
  if (!plugin) throw Failure{options.templateFile.value_or("frei0r.so") + ": no template"};
  const std::string output = options.output.value_or(file.stem().string() + ".so");
  std::string reason;
  if (!platform::writeFileAtomically(output, *plugin, &reason))
    throw Failure{output + ": " + reason};
}

}  // namespace

int exportPlugin(const ExportOptions& options) {
  const LogSilencer silencer;  // its lines say less than the failure does
  int status = 0;
  try {
    writePlugin(options);
  } catch (const Failure& failure) {
    std::istringstream lines("brannow: " + failure.message);
    for (std::string line; std::getline(lines, line);) std::cerr << terminalText(line) << "\n";
    status = 1;
  }
  brannow::finishQueues();
  return status;
}
