#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// Stands in for the key store, the model, the log and the living applications under the settings
// data library: all in memory, to be looked into. One for the whole process; Reset makes it new.
class PlatformDouble {
 public:
  static PlatformDouble& Get();

  void Reset();

  std::optional<std::variant<int, std::string>> Key(const std::string& key) const;
  void SetKey(const std::string& key, std::variant<int, std::string> value);
  void RemoveKey(const std::string& key);

  // Gives the model a feature.
  void SetFeature(const std::string& key, std::variant<bool, int> value);
  std::optional<std::variant<bool, int>> Feature(const std::string& key) const;

  // From now on every write fails; or only those to one key.
  void FailWrites();
  void FailWritesTo(const std::string& key);
  void LetWritesSucceed();
  bool DoesWriteFail(const std::string& key) const;

  // From now on the key store cannot be read.
  void FailReads() { m_AllReadsFail = true; }
  bool DoReadsFail() const { return m_AllReadsFail; }

  // How many writes there were, failed ones not counted.
  int Writes() const { return m_Writes; }

  // Which instance of an application lives; an empty one means that none does.
  void SetLiving(const std::string& app, const std::string& instance);
  std::string Living(const std::string& app) const;

  // Lets an instance of an application begin.
  void Begin(const std::string& app, const std::string& instance);
  std::function<void(const std::string& app)> onBegin;  // of the library, kept by Reset

  // The applications whose end was reported, in that order.
  const std::vector<std::string>& ReportedEnds() const { return m_ReportedEnds; }
  void ReportEnd(const std::string& app) { m_ReportedEnds.push_back(app); }

  // The lines logged so far: priority, tag and text.
  struct LogLine {
    int priority;
    std::string tag;
    std::string text;
  };
  const std::vector<LogLine>& Log() const { return m_Log; }
  void AddLogLine(LogLine line) { m_Log.push_back(std::move(line)); }

 private:
  friend int WriteKey(const char* key, std::variant<int, std::string> value);

  std::map<std::string, std::variant<int, std::string>> m_Keys;
  std::map<std::string, std::variant<bool, int>> m_Features;
  std::map<std::string, std::string> m_Living;
  std::vector<std::string> m_ReportedEnds;
  bool m_AllReadsFail = false;
  bool m_AllWritesFail = false;
  std::string m_FailingKey;
  int m_Writes = 0;
  std::vector<LogLine> m_Log;
};
