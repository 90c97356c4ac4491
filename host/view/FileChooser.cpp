#include "host/view/FileChooser.h"

#include <imgui.h>
#include <imgui_stdlib.h>

#include <algorithm>
#include <filesystem>

#include "Brannow/BrannowStringAdditions.h"
#include "host/FramePattern.h"
#include "platform/system/FileSystem.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kChooser = "##choose a file";

std::string lowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

std::string folderNear(const std::string& start) {
  std::error_code error;
  fs::path path = fs::absolute(start.empty() ? "." : start, error);
  while (!fs::is_directory(path, error) && path.has_relative_path()) path = path.parent_path();
  return trimExtraSlashFromEnd(path.lexically_normal().string());
}

}  // namespace

void FileChooser::open(Request request) {
  _request = std::move(request);
  _opens = true;
  enter(folderNear(_request.start));
}

void FileChooser::enter(const std::string& folder) {
  _folder = folder;
  _problem.clear();
  _typed.clear();
  _entries.clear();
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code unknown;
    const bool isFolder = entry->is_directory(unknown);
    if (!name.starts_with('.') && (isFolder || fits(name))) _entries.push_back({name, isFolder});
  }
  if (error) _problem = error.message();
  std::sort(_entries.begin(), _entries.end(), [](const Entry& a, const Entry& b) {
    return a.isFolder != b.isFolder ? a.isFolder : lowerCase(a.name) < lowerCase(b.name);
  });
}

bool FileChooser::fits(const std::string& name) const {
  const auto& kinds = _request.extensions;
  const std::string extension = lowerCase(fs::path(name).extension().string());
  return kinds.empty() || std::find(kinds.begin(), kinds.end(), extension) != kinds.end();
}

void FileChooser::draw(float scale) {
  if (_opens) ImGui::OpenPopup(kChooser);
  const ImVec2 room = ImGui::GetMainViewport()->Size;
  const ImVec2 size{std::min(520 * scale, room.x * 0.9F), std::min(400 * scale, room.y * 0.9F)};
  ImGui::SetNextWindowSize(size);
  ImGui::SetNextWindowPos({room.x / 2, room.y / 2}, ImGuiCond_Always, {0.5F, 0.5F});
  if (ImGui::BeginPopupModal(
          kChooser, nullptr,
          ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoMove | ImGuiWindowFlags_NoResize)) {
    ImGui::TextUnformatted(_request.title.c_str());
    ImGui::TextDisabled("%s", _folder.c_str());
    drawList(-2 * ImGui::GetFrameHeightWithSpacing());
    drawButtons(scale);
    ImGui::EndPopup();
  }
  _opens = false;
}

void FileChooser::drawList(float height) {
  std::string entered;
  std::string chosen;
  if (ImGui::BeginChild("list", {0, height}, true)) {
    if (ImGui::Selectable("../")) entered = fs::path(_folder).parent_path().string();
    for (const Entry& entry : _entries) {
      const std::string label = entry.isFolder ? entry.name + "/" : entry.name;
      const bool isPressed = ImGui::Selectable(label.c_str(), _typed == entry.name,
                                               ImGuiSelectableFlags_AllowDoubleClick);
      if (!isPressed) continue;
      const std::string path = (fs::path(_folder) / entry.name).string();
      if (entry.isFolder) {
        entered = path;
      } else {
        _typed = entry.name;
        if (ImGui::IsMouseDoubleClicked(ImGuiMouseButton_Left)) chosen = path;
      }
    }
  }
  ImGui::EndChild();
  if (!entered.empty()) enter(entered);
  if (!chosen.empty()) answer(chosen);
}

void FileChooser::drawButtons(float scale) {
  if (ImGui::IsWindowAppearing()) ImGui::SetKeyboardFocusHere();
  ImGui::SetNextItemWidth(-1);
  if (ImGui::InputTextWithHint("##typed", "a name or a path", &_typed,
                               ImGuiInputTextFlags_EnterReturnsTrue)) {
    choose(_typed);
  }
  if (ImGui::Button("Open", {90 * scale, 0})) choose(_typed);
  if (_request.takesFolders) {
    ImGui::SameLine();
    if (ImGui::Button("Open this folder")) answer(_folder);
  }
  ImGui::SameLine();
  const bool escaped = ImGui::IsKeyPressed(ImGui::GetKeyIndex(ImGuiKey_Escape), false);
  if (ImGui::Button("Cancel", {90 * scale, 0}) || escaped) ImGui::CloseCurrentPopup();
  ImGui::SameLine();
  ImGui::TextColored({1, 0.5F, 0.4F, 1}, "%s", _problem.c_str());
}

/// A folder is gone into; a file or a numbered pattern is the answer.
void FileChooser::choose(const std::string& typed) {
  if (typed.empty()) return;
  const std::string path =
      (fs::path(_folder) / platform::expandTilde(typed)).lexically_normal().string();
  if (platform::isFolder(path)) {
    enter(path);
  } else if (platform::itemExists(path) || (_request.takesFolders && hasFrameNumber(path))) {
    answer(path);
  } else {
    _problem = "no such file";
  }
}

void FileChooser::answer(const std::string& path) {
  ImGui::CloseCurrentPopup();
  if (_request.whenChosen) _request.whenChosen(path);
}
