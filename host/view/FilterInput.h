// Where a filter's frames come from.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Brannow/ZQBufferPool.h"
#include "host/view/ScenePlayer.h"

/// A test card until something else is chosen: a picture, a sequence of pictures, or a composition
/// that is a generator. For the thread that serves the main queue.
class FilterInput {
 public:
  struct Frame {
    ZQBufferRef picture;    ///< null when there is none yet
    bool isLatest = true;   ///< false while a newer one is being drawn
    std::string problem{};  ///< why there is no newer one
  };
  /// Gives the frame of a time in seconds, on one thread at a time.
  using Source = std::function<Frame(double time)>;

  FilterInput(ZQBufferPool& pool, ZQSize size, bool newProcess);
  ~FilterInput();

  /// A PNG file, a folder of them, a numbered pattern or a composition. Throws Failure when it is
  /// none of these; the input before then stays.
  void choose(const std::string& name);
  void chooseTestCard();
  /// What was chosen; empty for the test card.
  const std::string& name() const { return _name; }
  /// What it is, in words.
  std::string description() const;
  /// The generator's composition; null for any other input.
  ScenePlayer* generator() const { return _generator.get(); }

  /// Called when there are other pictures than before, though nothing was chosen.
  void setWhenChanged(std::function<void()> whenChanged) { _whenChanged = std::move(whenChanged); }
  void setSize(ZQSize size) { _size = size; }
  void setNewProcess(bool newProcess);
  /// To be called now and then: reads again what has changed on the disk.
  void poll();
  Source frames();

 private:
  class Frames;
  class Still;
  class Sequence;
  class Generated;

  void choosePictures(const std::string& name);
  void chooseGenerator(const std::string& file);

  ZQBufferPool& _pool;
  ZQSize _size;
  bool _newProcess;
  std::string _name;
  std::string _description;
  std::function<void()> _whenChanged = [] {};
  std::string _file;  // of a single picture
  FileWatch _watch;
  std::unique_ptr<ScenePlayer> _generator;
  std::shared_ptr<Frames> _frames;
};

/// Reads a PNG file into a buffer. Throws Failure.
ZQBufferRef bufferWithPicture(ZQBufferPool& pool, const std::string& file);
