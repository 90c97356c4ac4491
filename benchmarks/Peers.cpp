#include "benchmarks/Peers.h"

#include <epoxy/gl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <regex>
#include <vector>

#include "benchmarks/Measured.h"
#include "benchmarks/Process.h"

namespace {

constexpr int kFewFrames = 20, kManyFrames = 120;

using Command = std::vector<std::string>;

const Command kGstreamerSettings{"GST_GL_API=opengl3", "GST_GL_PLATFORM=egl",
                                 "GST_GL_WINDOW=egl-device"};

constexpr const char* kGstreamerVertexShader = R"(#version 330 core
in vec4 a_position;
in vec2 a_texcoord;
out vec2 v_texcoord;
void main() { gl_Position = a_position; v_texcoord = a_texcoord; }
)";

/// What more frames take, by how many they are.
template <class Run>
double perFrame(Run run) {
  const double few = milliseconds([&] { run(kFewFrames); });
  const double many = milliseconds([&] { run(kManyFrames); });
  return (many - few) / (kManyFrames - kFewFrames);
}

void runToItsEnd(const Command& command, const Command& settings) {
  if (Process(command, settings).wait() == 0) return;
  std::fprintf(stderr, "%s failed\n", command[0].c_str());
  std::_Exit(1);
}

std::string size(const Picture& picture, const std::string& memory) {
  return "video/x-raw" + memory + ",width=" + std::to_string(picture.width) +
         ",height=" + std::to_string(picture.height) + ",framerate=60/1";
}

Command gstreamerDrawing(const Picture& picture, int frames) {
  const std::string fragment =
      std::regex_replace(textOf(picture.shader), std::regex(R"(\buv\b)"), "v_texcoord");
  return {"gst-launch-1.0",
          "-q",
          "gltestsrc",
          "pattern=black",
          "num-buffers=" + std::to_string(frames),
          "!",
          size(picture, "(memory:GLMemory)"),
          "!",
          "glshader",
          "fragment=\"" + fragment + "\"",
          std::string("vertex=\"") + kGstreamerVertexShader + "\"",
          "!"};
}

Command joined(Command first, const Command& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// Takes each frame of the program's output to a texture.
void upload(const Command& command, const Picture& picture, const Session& session, int frames) {
  const auto context = brannow::GLContext::createSharedWith(session.context().handle());
  const brannow::GLCurrent current(*context);
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, picture.width, picture.height, 0, GL_RGBA,
               GL_UNSIGNED_BYTE, nullptr);
  std::vector<char> pixels(4 * static_cast<std::size_t>(picture.width) *
                           static_cast<std::size_t>(picture.height));
  Process process(command);
  for (int i = 0; i < frames; ++i) {
    if (!process.read(pixels.data(), pixels.size())) {
      std::fprintf(stderr, "%s sent too little\n", command[0].c_str());
      std::_Exit(1);
    }
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, picture.width, picture.height, GL_RGBA,
                    GL_UNSIGNED_BYTE, pixels.data());
    glFinish();
  }
  glDeleteTextures(1, &texture);
}

Command rawSource(const Picture& picture, int frames) {
  const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  return {program / "bench-raw-source", picture.shader, std::to_string(picture.width),
          std::to_string(picture.height), std::to_string(frames)};
}

}  // namespace

double gstreamerInProcess(const Picture& picture) {
  return perFrame([&](int frames) {
    runToItsEnd(joined(gstreamerDrawing(picture, frames), {"fakesink", "sync=false"}),
                kGstreamerSettings);
  });
}

double gstreamerSharedMemory(const Picture& picture, const std::string& folder) {
  const std::string path = folder + "/frames";
  const auto run = [&](int frames) {
    std::filesystem::remove(path);
    // It waits for the other end and is ended with it.
    const Process sender(
        joined(gstreamerDrawing(picture, 1'000'000),
               {"gldownload", "!", "video/x-raw,format=RGBA", "!", "shmsink", "socket-path=" + path,
                "wait-for-connection=true", "sync=false", "shm-size=50000000"}),
        kGstreamerSettings);
    while (!std::filesystem::exists(path)) usleep(1000);
    runToItsEnd({"gst-launch-1.0", "-q", "shmsrc", "socket-path=" + path,
                 "num-buffers=" + std::to_string(frames), "!", size(picture, "") + ",format=RGBA",
                 "!", "glupload", "!", "fakesink", "sync=false"},
                kGstreamerSettings);
  };
  return perFrame(run);
}

double rawPipe(const Picture& picture, const Session& session) {
  return perFrame(
      [&](int frames) { upload(rawSource(picture, frames), picture, session, frames); });
}

double ffmpegPipe(const Picture& picture, const Session& session) {
  const std::string format = "-f rawvideo -pix_fmt rgba";
  return perFrame([&](int frames) {
    std::string source;
    for (const std::string& word : rawSource(picture, frames)) source += "'" + word + "' ";
    upload({"sh", "-c",
            source + "| ffmpeg -loglevel error " + format + " -s " + std::to_string(picture.width) +
                "x" + std::to_string(picture.height) + " -i - " + format + " -"},
           picture, session, frames);
  });
}
