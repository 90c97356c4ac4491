// A file browser inside the window.
#pragma once

#include <functional>
#include <string>
#include <vector>

/// Shows folders and the files of some kinds; a path can also be typed in.
class FileChooser {
 public:
  struct Request {
    std::string title;
    std::string start;                    ///< a file or a folder near which to begin
    std::vector<std::string> extensions;  ///< such as ".png"; none: any file
    bool takesFolders = false;
    std::function<void(const std::string&)> whenChosen;
  };

  void open(Request request);
  /// To be called in every frame.
  void draw(float scale);

 private:
  struct Entry {
    std::string name;
    bool isFolder = false;
  };

  void enter(const std::string& folder);
  bool fits(const std::string& name) const;
  void drawList(float height);
  void drawButtons(float scale);
  void choose(const std::string& typed);
  void answer(const std::string& path);

  Request _request;
  std::string _folder;
  std::string _typed;
  std::string _problem;
  std::vector<Entry> _entries;
  bool _opens = false;
};
