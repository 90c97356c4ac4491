// The command brannow.
#include <CLI/CLI.hpp>

#include "host/CacheCommand.h"
#include "host/CheckCommand.h"
#include "host/ContainmentCommand.h"
#include "host/DescribeCommand.h"
#include "host/ExportCommand.h"
#include "host/FilterCommand.h"
#include "host/HelpText.h"
#include "host/HostSession.h"
#include "host/RenderCommand.h"
#include "host/StandardOutput.h"
#include "host/view/ViewCommand.h"

namespace {

int run(int argc, char** argv) {
  CLI::App app("Hosts node-graph compositions (.vuo files).", "brannow");
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("brannow ") + BrannowVersion::text());
  int status = 0;

  std::vector<std::string> files;
  bool json = false;
  auto* describeApp = app.add_subcommand("describe", "Say what compositions publish");
  describeApp->add_option("FILE", files, "Composition files")->required();
  describeApp->add_flag("--json", json, "One line of JSON per file");
  describeApp->callback([&] { status = describe(files, json); });

  auto* checkApp = app.add_subcommand("check", "Say what is wrong with compositions, and where");
  checkApp->add_option("FILE", files, "Composition files")->required();
  checkApp->add_flag("--json", json, "One line of JSON per file");
  checkApp->callback([&] { status = check(files, json); });

  const auto addRateOption = [](CLI::App* command, FrameRate& rate, const char* description) {
    command->add_option_function<std::string>(
        "--fps",
        [&rate](const std::string& text) {
          const auto known = FrameRate::fromText(text);
          if (!known)
            throw CLI::ValidationError("--fps",
                                       "needs a rate such as 30, 29.97 or "
                                       "30000:1001, from 0.001 to 1000");
          rate = *known;
        },
        description);
  };
  const auto addSceneOptions = [&](CLI::App* command, SceneOptions& options) {
    options.cacheFolder = defaultCacheFolder();
    command->add_option("FILE", options.file, "A composition file")->required();
    command->add_option("-o,--output", options.output,
                        "The picture's file; %d or %04d stands for the frame's number; - writes "
                        "video to standard output");
    command
        ->add_option("--format", options.format, "Video as y4m (YUV4MPEG2) or rgba (bare pixels)")
        ->transform(oneOf<VideoFormat>({{"y4m", VideoFormat::Y4m}, {"rgba", VideoFormat::Rgba}}));
    command->add_option("--size", options.size, "Size in pixels, as WIDTHxHEIGHT");
    command->add_option("--preset", options.preset,
                        "A file of inputs' values, as describe --json prints them");
    command->add_option("--set", options.assignments, "Set a published input: NAME=VALUE")
        ->allow_extra_args(false);
    command->add_option("--image", options.images, "Set a published image input: NAME=FILE.png")
        ->allow_extra_args(false);
    command->add_option("--print", options.printed, "Show an output's value after each frame")
        ->allow_extra_args(false);
    addRateOption(command, options.rate,
                  "Frames per second of the composition's time, such as 30, 29.97 or 30000:1001 "
                  "(default 30)");
    command->add_option("--start", options.start, "The time of the first frame, in seconds")
        ->check(secondsFrom(-1e9, 1e9));
    command
        ->add_option("--timeout", options.timeout,
                     "Give up when one frame takes longer than this many seconds")
        ->check(secondsFrom(0.001, 1e9));
    command->add_flag("--in-process", options.inProcess, "Run the composition in this process");
    command->add_option("--cache", options.cacheFolder, "The folder for compiled compositions")
        ->capture_default_str();
  };

  RenderOptions renderOptions;
  auto* renderApp = app.add_subcommand("render", "Render an image generator to PNG files");
  addSceneOptions(renderApp, renderOptions);
  renderApp->add_option("--frames", renderOptions.frames, "How many frames")
      ->check(CLI::Range(1, 1'000'000));
  renderApp
      ->add_flag("--realtime", renderOptions.realtime,
                 "Show the composition's own clock, one frame with each tick")
      ->excludes("--start");
  renderApp->callback([&] { status = render(renderOptions); });

  FilterOptions filterOptions;
  auto* filterApp = app.add_subcommand("filter", "Run PNG files through an image filter");
  addSceneOptions(filterApp, filterOptions);
  filterApp
      ->add_option("--input", filterOptions.input,
                   "A PNG file, a folder of them, a numbered pattern such as in-%04d.png, or - for "
                   "video from standard input")
      ->required();
  filterApp->callback([&] { status = filter(filterOptions); });

  ViewOptions viewOptions;
  viewOptions.cacheFolder = defaultCacheFolder();
  auto* viewApp = app.add_subcommand("view", "Show a composition in a window, with its controls");
  viewApp->add_option("FILE", viewOptions.file, "A composition file")->required();
  viewApp->add_option("--input", viewOptions.input,
                      "For a filter: a PNG file, a folder of them, a numbered pattern such as "
                      "in-%04d.png, or a second composition that is a generator");
  viewApp->add_option("--size", viewOptions.size, "The window's size, as WIDTHxHEIGHT");
  viewApp->add_option("--display", viewOptions.display, "The display of the window, from 1")
      ->check(CLI::Range(1, 64));
  viewApp
      ->add_option("--output-display", viewOptions.outputDisplay,
                   "Fill this display with the picture alone, from 1; the window with the controls "
                   "opens on another")
      ->check(CLI::Range(1, 64));
  viewApp->add_flag("--fullscreen", viewOptions.isFullScreen, "Fill the display from the start");
  viewApp->add_option("--preset", viewOptions.preset,
                      "A file of inputs' values, as describe --json prints them");
  viewApp->add_option("--osc", viewOptions.osc,
                      "A UDP port of this machine for Open Sound Control messages to "
                      "/brannow/NAME; ADDRESS:PORT to be reached from others");
  viewApp->add_option("--record", viewOptions.record,
                      "Record the picture from the start, as YUV4MPEG2 video, into a new file or "
                      "a named pipe");
  addRateOption(viewApp, viewOptions.recordRate, "Frames per second of recordings (default 60)");
  viewApp->add_option("--start", viewOptions.start, "The time of the first frame, in seconds")
      ->check(secondsFrom(-1e9, 1e9));
  viewApp->add_flag("--paused", viewOptions.isPaused, "Wait at that time");
  viewApp->add_flag("--in-process", viewOptions.inProcess, "Run the composition in this process");
  viewApp->add_option("--cache", viewOptions.cacheFolder, "The folder for compiled compositions")
      ->capture_default_str();
  viewApp->callback([&] { status = view(viewOptions); });

  ExportOptions exportOptions;
  bool isForFrei0r = false;
  auto* exportApp = app.add_subcommand("export", "Make a composition a plug-in of video programs");
  exportApp->add_option("FILE", exportOptions.file, "A composition file")->required();
  exportApp->add_flag("--frei0r", isForFrei0r, "A frei0r plug-in, as ffmpeg and MLT load them")
      ->required();
  exportApp->add_option("-o,--output", exportOptions.output,
                        "The plug-in's file (default the composition's name with .so)");
  exportApp->add_flag("--in-process", exportOptions.inProcess,
                      "Run the composition inside the program that loads the plug-in");
  exportApp->add_option("--template", exportOptions.templateFile,
                        "The file to make it from (default the one that belongs to this command)");
  exportApp->callback([&] { status = exportPlugin(exportOptions); });

  auto* cacheApp = app.add_subcommand("cache", "Look into the compiled compositions");
  cacheApp->require_subcommand(1);
  std::string cacheFolder = defaultCacheFolder();
  const auto addCacheOption = [&](CLI::App* command) {
    command->add_option("--cache", cacheFolder, "The folder for compiled compositions")
        ->capture_default_str();
  };
  auto* listApp = cacheApp->add_subcommand("list", "Say what is there and whether it is fresh");
  listApp->add_flag("--json", json, "One line of JSON per record");
  addCacheOption(listApp);
  listApp->callback([&] { status = listCache(cacheFolder, json); });
  auto* clearApp = cacheApp->add_subcommand("clear", "Move all of it to the trash");
  addCacheOption(clearApp);
  clearApp->callback([&] { status = clearCache(cacheFolder); });

  auto* containmentApp = app.add_subcommand(
      "containment", "Say whether this kernel can contain the processes of compositions");
  containmentApp->callback([&] { status = tellContainment(); });

  describeArguments(app);
  CLI11_PARSE(app, argc, argv);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  StandardOutput output;
  return output.finish(run(argc, argv));
}
