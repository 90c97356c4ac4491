#include "host/FilterCommand.h"

#include "host/DrawingLimit.h"
#include "host/FrameSource.h"
#include "host/PictureSequence.h"
#include "host/PixelSize.h"

namespace {

std::shared_ptr<ZQVuoComposition> readFilter(const std::string& file) {
  auto composition = readComposition(file);
  if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) {
    throw refusal(file,
                  "is no image filter: it needs the published image input image and the published "
                  "image output outputImage");
  }
  return composition;
}

std::unique_ptr<FrameSource> sourceOf(const FilterOptions& options, HostSession& session) {
  if (options.input == "-") {
    const ZQSize size = options.size ? sizeFromText(*options.size) : ZQSize{};
    requireDrawable(session.context(), size, "a video of " + textFromSize(size));
    return videoFromStandardInput(options.format, static_cast<std::size_t>(size.width),
                                  static_cast<std::size_t>(size.height));
  }
  auto files = picturesNamed(options.input);
  if (files.empty()) throw Failure{"--input " + options.input + ": no picture there"};
  return picturesFrom(std::move(files));
}

ZQBufferRef bufferOf(const ZQPixels& picture, int index, HostSession& session) {
  if (auto buffer = session.pool().allocBufferWithPixels(picture)) return buffer;
  const std::string name = "input frame " + std::to_string(index);
  const ZQSize size{static_cast<double>(picture.width), static_cast<double>(picture.height)};
  requireDrawable(session.context(), size, name + " of " + textFromSize(size));
  throw Failure{name + ": there is no room for the picture on the GPU"};
}

}  // namespace

int filter(const FilterOptions& options) {
  return withSession(options.cacheFolder, [&](HostSession& session) {
    const auto composition = readFilter(options.file);
    const auto source = sourceOf(options, session);
    SceneDriver driver(options, composition, session);
    if (const auto rate = source->rate()) driver.setRate(*rate);
    driver.load();
    const auto request = [&](int index) -> std::optional<VuoFrameRequest> {
      const auto picture = source->next();
      if (!picture) return std::nullopt;
      VuoFrameRequest frame;
      frame.time = driver.timeOf(index);
      frame.image = bufferOf(*picture, index, session);
      frame.size = frame.image->size();
      return frame;
    };
    driver.run(
        request, [&] { return source->isReady(); }, source->count());
  });
}
