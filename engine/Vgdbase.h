// TVGDataBase: names a set of tables. It ties the data sources that use it to one engine and
// gives them the folders of their data and index files, the folder used while designing, and
// the structure file. Anything that changes where files are closes its tables first.
#pragma once

#include <string>
#include <vector>

#include "engine/Vgglobal.h"
#include "framework/component.h"

namespace vg {

class TVGEngine;

// What a database needs of the data sources open on it. The data source class derives from
// this; its Close must take the source out of its database's OpenSources.
class TVGDataSourceBase : public TComponent {
 public:
  using TComponent::TComponent;
  virtual void Close() = 0;
  // The database alias of the open table; empty when closed.
  virtual std::string GetDBAlias() = 0;
};

class TVGDataBase : public TComponent {
 public:
  // Registers in VGEnv's database list.
  explicit TVGDataBase(TComponent* Owner);
  // Closes its tables and leaves its engine's list and VGEnv's.
  ~TVGDataBase() override;

  TVGEngine* VGEngine() const { return vg_engine_; }
  // Closes the tables and moves the database from the old engine's list to the new one's.
  void SetVGEngine(TVGEngine* Value);
  // Folders are stored with a trailing "/" when not empty; a changed folder closes the tables.
  const std::string& DataPath() const { return data_path_; }
  void SetDataPath(const std::string& Value);
  const std::string& DesignPath() const { return design_path_; }
  void SetDesignPath(const std::string& Value);
  const std::string& IndexPath() const { return index_path_; }
  void SetIndexPath(const std::string& Value);
  // Passed to the engine just before a data source of this database creates a file: true
  // refuses to overwrite an existing file.
  bool Safety() const { return safety_; }
  void SetSafety(bool Value) { safety_ = Value; }
  const std::string& StruFile() const { return stru_file_; }
  void SetStruFile(const std::string& Value) { stru_file_ = Value; }

  // The data sources open on this database, attached by their Open and detached by their
  // Close (not owned).
  std::vector<TVGDataSourceBase*>& OpenSources() { return open_sources_; }

  // Closes every open data source, last first.
  void CloseFiles();
  // A new name closes the tables first: data sources that found this database by its old
  // name would not find it again.
  void SetName(const std::string& Value) override;
  // The full name of the structure file when it exists, else empty.
  std::string GetFullStruFile();

 private:
  void SetPath(std::string& path, const std::string& Value);

  std::string data_path_;
  std::string index_path_;
  std::string design_path_;
  TVGEngine* vg_engine_ = nullptr;
  bool safety_ = true;
  std::string stru_file_ = "Stru.txt";
  std::vector<TVGDataSourceBase*> open_sources_;
};

}  // namespace vg
