#include "host/view/FilterInput.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "host/Failure.h"
#include "host/Picture.h"
#include "host/PictureSequence.h"

using Clock = std::chrono::steady_clock;

namespace {

constexpr double kPicturesPerSecond = 25;

/// A generator that takes longer does not hold up its filter, which gets the picture before.
constexpr std::chrono::milliseconds kWaitForGenerator{40};

std::uint8_t byteFrom(double part) {
  return static_cast<std::uint8_t>(std::lround(255 * std::clamp(part, 0.0, 1.0)));
}

/// Colours that change over both directions, with lines and a circle that show what a filter bends.
ZQPixels testCard() {
  constexpr int kWidth = 960;
  constexpr int kHeight = 540;
  constexpr int kCell = 60;
  ZQPixels card{kWidth, kHeight, {}};
  card.rgba.reserve(4 * card.width * card.height);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const double across = double(x) / kWidth;
      const double down = double(y) / kHeight;
      const double radius = std::hypot(x - kWidth / 2.0, y - kHeight / 2.0);
      const bool isLine = x % kCell < 2 || y % kCell < 2 || std::fabs(radius - 4 * kCell) < 2;
      const double light = isLine ? 0.35 : (x / kCell + y / kCell) % 2 ? 0.06 : 0;
      card.rgba.push_back(byteFrom(0.15 + 0.75 * across + light));
      card.rgba.push_back(byteFrom(0.25 + 0.4 * (1 - down) * (1 - across) + light));
      card.rgba.push_back(byteFrom(0.3 + 0.55 * down + light));
      card.rgba.push_back(255);
    }
  }
  return card;
}

}  // namespace

ZQBufferRef bufferWithPicture(ZQBufferPool& pool, const std::string& file) {
  std::string problem;
  const auto pixels = host::readPicture(file, problem);
  if (!pixels) throw Failure{problem};
  auto buffer = pool.allocBufferWithPixels(*pixels);
  if (!buffer) throw Failure{file + ": the picture is too large for the GPU"};
  return buffer;
}

/// Used by one thread at a time.
class FilterInput::Frames {
 public:
  virtual ~Frames() = default;
  /// The generator is null while none runs.
  virtual Frame next(const std::shared_ptr<PictureStream>& generator, ZQSize size, double time) = 0;
};

class FilterInput::Still : public Frames {
 public:
  explicit Still(ZQBufferRef picture) : _picture(std::move(picture)) {}
  Frame next(const std::shared_ptr<PictureStream>&, ZQSize, double) override { return {_picture}; }

 private:
  const ZQBufferRef _picture;
};

/// Goes round with the time; a picture that can't be read is passed over.
class FilterInput::Sequence : public Frames {
 public:
  Sequence(ZQBufferPool& pool, std::vector<std::string> files, ZQBufferRef first)
      : _pool(pool), _files(std::move(files)), _shown{std::move(first)} {}

  Frame next(const std::shared_ptr<PictureStream>&, ZQSize, double time) override {
    const auto count = static_cast<std::int64_t>(_files.size());
    const auto turn = static_cast<std::int64_t>(std::floor(time * kPicturesPerSecond)) % count;
    const auto index = static_cast<std::size_t>(turn < 0 ? turn + count : turn);
    if (index != _index) show(index);
    return _shown;
  }

 private:
  void show(std::size_t index) {
    _index = index;
    try {
      _shown = {bufferWithPicture(_pool, _files[index])};
    } catch (const Failure& failure) {
      _shown.problem = failure.message;
    }
  }

  ZQBufferPool& _pool;
  const std::vector<std::string> _files;
  std::size_t _index = 0;
  Frame _shown;
};

class FilterInput::Generated : public Frames {
 public:
  Frame next(const std::shared_ptr<PictureStream>& generator, ZQSize size, double time) override {
    if (!generator) return {_picture};
    VuoFrameRequest request;
    request.time = time;
    request.size = size;
    const auto made = generator->next(request, kWaitForGenerator);
    if (made.frame.buffer) _picture = made.frame.buffer;
    return {_picture, made.frame.answer != VuoFrame::Answer::Late, made.problem()};
  }

 private:
  ZQBufferRef _picture;
};

FilterInput::FilterInput(ZQBufferPool& pool, ZQSize size, bool newProcess)
    : _pool(pool), _size(size), _newProcess(newProcess) {}

FilterInput::~FilterInput() = default;

void FilterInput::choose(const std::string& name) {
  if (ZQVuoComposition::pathLooksLikeALegitComposition(name)) {
    chooseGenerator(name);
  } else {
    choosePictures(name);
  }
  _name = name;
}

void FilterInput::chooseTestCard() {
  _frames = std::make_shared<Still>(_pool.allocBufferWithPixels(testCard()));
  _generator.reset();
  _watch.follow({});
  _name.clear();
  _description = "test card";
}

void FilterInput::choosePictures(const std::string& name) {
  auto files = picturesNamed(name);
  if (files.empty()) throw Failure{name + ": no picture there"};
  auto first = bufferWithPicture(_pool, files.front());
  _generator.reset();
  _watch.follow({});
  if (files.size() == 1) {
    _description = "picture";
    _file = files.front();
    _watch.follow(files);
    _frames = std::make_shared<Still>(std::move(first));
  } else {
    _description = std::to_string(files.size()) + " pictures";
    _frames = std::make_shared<Sequence>(_pool, std::move(files), std::move(first));
  }
}

void FilterInput::chooseGenerator(const std::string& file) {
  const auto composition = ZQVuoComposition::initWithPath(file);
  if (!composition->conformsToVuoProtocol(ZQVuoProtocol_ImageGenerator))
    throw Failure{firstProblem(*composition, "is no image generator")};
  _watch.follow({});
  _frames = std::make_shared<Generated>();
  _generator = std::make_unique<ScenePlayer>(_newProcess);
  _generator->setFirstRequest([this] {
    VuoFrameRequest request;
    request.size = _size;
    return request;
  });
  _generator->setWhenStarted([this](const ZQBufferRef&) { _whenChanged(); });
  _generator->open(file);
}

std::string FilterInput::description() const {
  return _generator ? "generator, " + _generator->stateText() : _description;
}

void FilterInput::setNewProcess(bool newProcess) {
  _newProcess = newProcess;
  if (_generator) _generator->setNewProcess(newProcess);
}

void FilterInput::poll() {
  if (_generator) _generator->poll();
  if (!_watch.changed(Clock::now())) return;
  try {
    _frames = std::make_shared<Still>(bufferWithPicture(_pool, _file));
    _whenChanged();
  } catch (const Failure&) {
    // Half a picture: the rest of it is a change as well.
  }
}

FilterInput::Source FilterInput::frames() {
  if (!_frames) chooseTestCard();
  return [frames = _frames, generator = _generator ? _generator->pictures() : nullptr,
          size = _size](double time) { return frames->next(generator, size, time); };
}
