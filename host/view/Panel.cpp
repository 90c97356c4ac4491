#include "host/view/Panel.h"

#include <imgui.h>

#include <algorithm>
#include <cfloat>
#include <chrono>
#include <cstdio>

#include "host/view/InputControls.h"
#include "platform/system/FileSystem.h"

namespace {

constexpr std::chrono::seconds kLongWithoutAnAnswer{1};
const ImVec4 kGood{0.55F, 0.85F, 0.6F, 1};
const ImVec4 kBusy{0.95F, 0.8F, 0.4F, 1};
const ImVec4 kBad{1, 0.45F, 0.4F, 1};

ImVec4 colorOf(ScenePlayer::State state) {
  switch (state) {
    case ScenePlayer::State::Running:
      return kGood;
    case ScenePlayer::State::Failed:
    case ScenePlayer::State::LostContact:
      return kBad;
    default:
      return kBusy;
  }
}

const char* kindOf(const ZQVuoComposition& composition) {
  if (composition.conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) return "Filter";
  if (composition.conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator)) return "Generator";
  return "No picture";
}

void title(const char* text) {
  ImGui::Spacing();
  ImGui::Separator();
  ImGui::TextDisabled("%s", text);
}

void tooltip(const std::string& text) {
  if (!ImGui::IsItemHovered()) return;
  ImGui::BeginTooltip();
  ImGui::TextUnformatted(text.c_str());
  ImGui::EndTooltip();
}

/// The text as far as it fits into the width, the whole of it in a tooltip.
void clipped(const std::string& text, float width) {
  std::string shown = text;
  const auto tooWide = [&] { return ImGui::CalcTextSize((shown + "…").c_str()).x > width; };
  if (ImGui::CalcTextSize(text.c_str()).x > width) {
    while (!shown.empty() && tooWide()) {
      do shown.pop_back();
      while (!platform::isValidUtf8(shown));
    }
    shown += "…";
  }
  ImGui::TextUnformatted(shown.c_str());
  if (shown != text) tooltip(text);
}

/// Why it did not load, with the files that lie beside the composition by their names alone. As
/// many lines as leave the controls their room; the whole of it in a tooltip.
void drawProblem(const ScenePlayer& player) {
  constexpr std::size_t longest = 600;
  const std::string& problem = player.problem();
  if (problem.empty()) return;
  const std::string folder = platform::deletingLastPathComponent(player.file()) + "/";
  std::string text = problem;
  for (std::size_t at = text.find(folder); at != text.npos; at = text.find(folder, at))
    text.erase(at, folder.size());
  if (text.size() > longest) {
    text.resize(longest);
    while (!platform::isValidUtf8(text)) text.pop_back();
    text += "…";
  }
  ImGui::PushStyleColor(ImGuiCol_Text, kBad);
  ImGui::PushTextWrapPos(0);
  ImGui::TextUnformatted(text.c_str());
  ImGui::PopTextWrapPos();
  ImGui::PopStyleColor();
  tooltip(problem);
}

/// Empty while it answers.
std::string notAnswering(const ScenePlayer& player) {
  const auto since = player.pictures() ? player.scene().oldestRequestSince() : std::nullopt;
  if (!since) return "";
  const auto waiting = std::chrono::steady_clock::now() - *since;
  if (waiting < kLongWithoutAnAnswer) return "";
  return "not answering for " +
         std::to_string(std::chrono::floor<std::chrono::seconds>(waiting).count()) + " s";
}

/// What is the matter, and what can be done about it.
void drawTrouble(ScenePlayer& player) {
  const bool isLost = player.state() == ScenePlayer::State::LostContact;
  if (isLost) ImGui::TextColored(kBad, "It has ended; its last picture stays.");
  drawProblem(player);
  const std::string silence = notAnswering(player);
  if (!silence.empty()) ImGui::TextColored(kBad, "%s", silence.c_str());
  if (!isLost && silence.empty()) return;
  if (ImGui::Button(isLost ? "Load again" : "End it and load again", {-FLT_MIN, 0}))
    player.reload();
}

void drawNews(const std::string& news) {
  if (news.empty()) return;
  ImGui::PushTextWrapPos(0);
  ImGui::TextColored(kBusy, "%s", news.c_str());
  ImGui::PopTextWrapPos();
}

/// A button for each label, all of one width, in one row; the index of the one that was pressed.
int buttonRow(std::initializer_list<const char*> labels) {
  const float gap = ImGui::GetStyle().ItemSpacing.x;
  const auto count = static_cast<float>(labels.size());
  const float width = (ImGui::GetContentRegionAvail().x - (count - 1) * gap) / count;
  int pressed = -1;
  int index = 0;
  for (const char* label : labels) {
    if (index > 0) ImGui::SameLine();
    if (ImGui::Button(label, {width, 0})) pressed = index;
    ++index;
  }
  return pressed;
}

}  // namespace

void Panel::draw(float scale) {
  _scale = scale;
  const ImVec2 room = ImGui::GetMainViewport()->Size;
  const float margin = 12 * scale;
  const float width = std::min(340 * scale, room.x - 2 * margin);
  ImGui::SetNextWindowPos({margin, margin}, ImGuiCond_FirstUseEver);
  ImGui::SetNextWindowSizeConstraints({width, 0}, {width, room.y - 2 * margin});
  if (ImGui::Begin("brannow", nullptr,
                   ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_AlwaysAutoResize)) {
    drawHead();
    drawMode();
    drawFrames();
    drawButtons();
    drawForOthers();
    drawNews(_state.news);
    drawFilterInput();
    drawInputs();
    drawOutputs();
    title("Space pause   , . step   S save   P preset");
    ImGui::TextDisabled("V record   O output   F full   R reload   Tab hide");
  }
  ImGui::End();
}

void Panel::drawHead() {
  ScenePlayer& player = _state.player;
  const float button = ImGui::CalcTextSize("Open…").x + 2 * ImGui::GetStyle().FramePadding.x;
  const float room = ImGui::GetContentRegionAvail().x;
  ImGui::AlignTextToFramePadding();
  clipped(platform::lastPathComponent(player.file()), room - button - 16 * _scale);
  ImGui::SameLine(ImGui::GetCursorPosX() + room - button);
  if (ImGui::Button("Open…")) {
    _chooser.open(
        {"Open a composition", player.file(), {".vuo"}, false, [this](const std::string& file) {
           _actions.open(file);
         }});
  }
  if (player.composition()) {
    ImGui::TextDisabled("%s,", kindOf(*player.composition()));
    ImGui::SameLine(0, ImGui::CalcTextSize(" ").x);
  }
  ImGui::TextColored(colorOf(player.state()), "%s", player.stateText().c_str());
  drawTrouble(player);
}

void Panel::drawMode() {
  const bool newProcess = _state.player.newProcess();
  if (ImGui::RadioButton("Separate process", newProcess)) _actions.setNewProcess(true);
  ImGui::SameLine();
  if (ImGui::RadioButton("In process", !newProcess)) _actions.setNewProcess(false);
  if (newProcess)
    clipped("Pictures by " + VuoGLScene::processPicturesDescription(),
            ImGui::GetContentRegionAvail().x - 16 * _scale);
}

void Panel::drawFrames() {
  const auto now = FrameHistory::Clock::now();
  const auto times = _state.history.milliseconds();
  char text[80];
  std::snprintf(text, sizeof text, "%.1f frames/s   %.1f ms", _state.history.rate(now),
                _state.history.meanMilliseconds(now));
  const float longest = times.empty() ? 0 : *std::max_element(times.begin(), times.end());
  ImGui::SetNextItemWidth(-1);
  ImGui::PlotLines("##frames", times.data(), static_cast<int>(times.size()), 0,
                   _state.clock.isPaused() ? "paused" : text, 0, std::max(20.0F, longest * 2),
                   {ImGui::GetContentRegionAvail().x, 48 * _scale});
}

void Panel::drawButtons() {
  switch (buttonRow({_state.clock.isPaused() ? "Play" : "Pause", "Save", "Full", "Reload"})) {
    case 0:
      return _actions.togglePause();
    case 1:
      return _actions.savePicture();
    case 2:
      return _actions.toggleFullScreen();
    case 3:
      return _actions.reload();
    default:
      return;
  }
}

void Panel::drawForOthers() {
  const Recording* recording = _state.recording;
  switch (buttonRow({recording ? "Stop recording" : "Record",
                     _state.hasOutput ? "Close output" : "Second screen"})) {
    case 0:
      _actions.toggleRecording();
      break;
    case 1:
      _actions.toggleOutput();
      break;
    default:
      break;
  }
  if (!recording) return;
  const auto seconds = static_cast<long>(recording->seconds());
  char text[80];
  std::snprintf(text, sizeof text, "%s %ld:%02ld", recording->isStopped() ? "Writing" : "Recording",
                seconds / 60, seconds % 60);
  ImGui::TextColored(kBad, "%s", text);
  if (recording->lost() > 0) {
    ImGui::SameLine();
    ImGui::TextColored(kBusy, "%lld frames lost", static_cast<long long>(recording->lost()));
  }
  clipped(recording->path(), ImGui::GetContentRegionAvail().x);
}

void Panel::drawFilterInput() {
  const auto& composition = _state.player.composition();
  if (!composition || !composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) return;
  title("Picture to filter");
  const FilterInput& input = _state.input;
  const float button = ImGui::CalcTextSize("Choose…").x + 2 * ImGui::GetStyle().FramePadding.x;
  const float room = ImGui::GetContentRegionAvail().x;
  ImGui::AlignTextToFramePadding();
  clipped(input.name().empty() ? input.description() : platform::lastPathComponent(input.name()),
          room - button - 16 * _scale);
  ImGui::SameLine(ImGui::GetCursorPosX() + room - button);
  if (ImGui::Button("Choose…")) {
    _chooser.open({"Choose a picture, a folder of pictures or a generator to be filtered",
                   input.name().empty() ? _state.player.file() : input.name(),
                   {".png", ".vuo"},
                   true,
                   [this](const std::string& name) { _actions.chooseInput(name); }});
  }
  if (!input.name().empty()) ImGui::TextDisabled("%s", input.description().c_str());
  if (input.generator()) drawTrouble(*input.generator());
}

void Panel::drawInputs() {
  const auto& composition = _state.player.composition();
  if (!composition) return;
  const auto& ports = composition->publishedInputPorts();
  if (std::none_of(ports.begin(), ports.end(), [this](auto& port) { return hasControl(*port); }))
    return;
  title("Inputs");
  drawPresets();
  if (!ImGui::BeginTable("inputs", 3, ImGuiTableFlags_SizingFixedFit)) return;
  ImGui::TableSetupColumn("name", ImGuiTableColumnFlags_WidthFixed, 96 * _scale);
  ImGui::TableSetupColumn("control", ImGuiTableColumnFlags_WidthStretch);
  ImGui::TableSetupColumn("default", ImGuiTableColumnFlags_WidthFixed);
  for (const auto& port : ports) {
    if (hasControl(*port)) drawInput(port);
  }
  ImGui::EndTable();
}

void Panel::drawPresets() {
  switch (buttonRow({"Load preset…", "Save preset"})) {
    case 0:
      return _chooser.open({"Load a preset",
                            _state.player.file(),
                            {".json"},
                            false,
                            [this](const std::string& file) { _actions.usePreset(file); }});
    case 1:
      return _actions.savePreset();
    default:
      return;
  }
}

bool Panel::hasControl(const ZQVuoCompositionPort& port) const {
  return port.wantsUI() || isTextSourceFile(port);
}

bool Panel::isTextSourceFile(const ZQVuoCompositionPort& port) const {
  return _state.player.composition()->runnerTxtSrcFileInputPort().get() == &port;
}

void Panel::drawInput(const ZQVuoComposition::Port& port) {
  ImGui::PushID(port->portName().c_str());
  ImGui::TableNextRow();
  ImGui::TableNextColumn();
  ImGui::AlignTextToFramePadding();
  clipped(port->portName(), ImGui::GetContentRegionAvail().x);
  ImGui::TableNextColumn();
  ImGui::SetNextItemWidth(-1);
  if (isTextSourceFile(*port) || port->portType() == ZQVuoPortType_Image) {
    drawFile(port);
  } else if (const auto value = valueControl(*port, _state.values.current(*port), _scale)) {
    _actions.setValue(*port, *value);
  }
  ImGui::TableNextColumn();
  drawBackToDefault(*port);
  ImGui::PopID();
}

/// A picture for an image input; for the text source, a file whose path is the input's value.
void Panel::drawFile(const ZQVuoComposition::Port& port) {
  const bool isImage = port->portType() == ZQVuoPortType_Image;
  std::string file = _state.values.imageFile(*port);
  if (!isImage) {
    const ZQVuoPortValue value = _state.values.current(*port);
    if (value.stringValue()) file = *value.stringValue();
  }
  const std::string label = file.empty() ? "Choose…" : platform::lastPathComponent(file);
  if (ImGui::Button((label + "##file").c_str(), {ImGui::GetContentRegionAvail().x, 0})) {
    _chooser.open({"Choose " + std::string(isImage ? "a picture" : "a text file") + " for " +
                       port->portName(),
                   file.empty() ? _state.player.file() : file,
                   isImage ? std::vector<std::string>{".png"} : std::vector<std::string>{}, false,
                   [this, port, isImage](const std::string& path) {
                     isImage ? _actions.setImage(*port, path) : _actions.setValue(*port, path);
                   }});
  }
  if (!file.empty()) tooltip(file);
}

void Panel::drawBackToDefault(const ZQVuoCompositionPort& port) {
  const bool isDefault = _state.values.isDefault(port);
  ImGui::BeginDisabled(isDefault);
  if (ImGui::Button("↺")) _actions.backToDefault(port);
  ImGui::EndDisabled();
  if (!isDefault) tooltip("Back to the default");
}

void Panel::drawOutputs() {
  if (_state.outputs.empty()) return;
  title("Outputs");
  if (!ImGui::BeginTable("outputs", 2, ImGuiTableFlags_SizingFixedFit)) return;
  ImGui::TableSetupColumn("name", ImGuiTableColumnFlags_WidthFixed, 96 * _scale);
  ImGui::TableSetupColumn("value", ImGuiTableColumnFlags_WidthStretch);
  for (const auto& [name, text] : _state.outputs) {
    ImGui::TableNextColumn();
    clipped(name, ImGui::GetContentRegionAvail().x);
    ImGui::TableNextColumn();
    clipped(text, ImGui::GetContentRegionAvail().x);
  }
  ImGui::EndTable();
}
