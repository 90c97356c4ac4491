#include "host/FilterCommand.h"

#include <chrono>

#include "host/Picture.h"
#include "host/PictureSequence.h"

namespace {

using Clock = std::chrono::steady_clock;

/// How long a filter may take for one picture.
constexpr std::chrono::seconds kPictureWait{30};
/// When a picture that keeps a size of its own is taken for up to date.
constexpr std::chrono::milliseconds kOwnSizeWait{500};

std::shared_ptr<ZQVuoComposition> readFilter(const std::string& file) {
  auto composition = readComposition(file);
  if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageFilter)) {
    throw Failure{file +
                  " is no image filter: it needs the published image input image and the published "
                  "image output outputImage"};
  }
  return composition;
}

/// A frame call returns the latest picture, which may still be of the frame before. So a tiny
/// picture goes in ahead of each frame: what comes out at another size than the tiny one is the
/// frame's own.
class Filterer {
 public:
  Filterer(SceneDriver& driver, const FilterOptions& options, ZQBufferPool& pool)
      : _driver(driver), _options(options), _pool(pool) {}

  void run(const std::vector<std::string>& files) {
    _driver.load({1, 1});
    _tiny = _pool.allocBufferWithPixels({1, 1, {0, 0, 0, 0}});
    for (std::size_t i = 0; i < files.size(); ++i) {
      const ZQBufferRef picture = filtered(frameFrom(files[i]));
      if (!picture) return;
      _driver.write(*picture, static_cast<int>(i + 1), static_cast<int>(files.size()));
    }
  }

 private:
  ZQBufferRef frameFrom(const std::string& file) {
    std::string problem;
    const auto pixels = host::readPicture(file, problem);
    if (!pixels) throw Failure{problem};
    auto frame = _pool.allocBufferWithPixels(*pixels);
    if (!frame) throw Failure{file + " is too large for the GPU"};
    return frame;
  }

  /// Null when the user asked to stop.
  ZQBufferRef filtered(const ZQBufferRef& frame) {
    const ZQSize tiny = _tiny->size();
    const bool canTell = frame->size() != tiny && _followsInput;
    if (canTell) {
      _followsInput = pushUntil(_tiny, kOwnSizeWait, [&](ZQSize size) { return size == tiny; });
    }
    ZQBufferRef picture;
    const auto fits = [&](ZQSize size) { return !_followsInput || !canTell || size != tiny; };
    for (int call = 0; call < (_followsInput && canTell ? 1 : kCallsWithoutMarker); ++call) {
      pushUntil(frame, kPictureWait, fits, &picture);
    }
    return picture;
  }

  /// Filters `frame` again and again until a fresh picture has a size that `fits`; false when none
  /// had within `longest`.
  template <class Fits>
  bool pushUntil(const ZQBufferRef& frame, Clock::duration longest, Fits fits,
                 ZQBufferRef* picture = nullptr) {
    const auto start = Clock::now();
    do {
      (void)_driver.scene().copyAndClearOutValPortNames();
      auto result = _driver.scene().runFilterOnFrame(frame);
      if (result && fits(result->size())) {
        if (picture) *picture = std::move(result);
        return true;
      }
      if (!_driver.scene().readyToRender()) _driver.fail(_options.file + " stopped running");
      if (!result && Clock::now() - start > kPictureWait) {
        _driver.fail(_options.file + " gave no picture");
      }
    } while (Clock::now() - start < longest);
    return false;
  }

  static constexpr int kCallsWithoutMarker = 8;

  SceneDriver& _driver;
  const FilterOptions& _options;
  ZQBufferPool& _pool;
  ZQBufferRef _tiny;
  bool _followsInput = true;
};

}  // namespace

int filter(const FilterOptions& options) {
  return withSession(options.cacheFolder, [&](HostSession& session, LogCapture& log) {
    const auto composition = readFilter(options.file);
    const auto files = picturesNamed(options.input);
    if (files.empty()) throw Failure{"--input " + options.input + ": no picture there"};
    SceneDriver driver(options, composition, session, log);
    Filterer(driver, options, session.pool()).run(files);
  });
}
