#pragma once

#include <pdmsim/cli/cli_Progress.h>
#include <pdmsim/report/rep_Pack.h>
#include <pdmsim/report/rep_Skin.h>
#include <pdmsim/show/show_Values.h>
#include <pdmsim/stored/sto_Mesh.h>
#include <pdmsim/stored/sto_Modes.h>

#include <optional>

/// What of a file comes into its page.
struct rep_Choice {
  std::size_t most = 20'000'000;                  // bytes of the page
  std::optional<std::size_t> steps;               // at most so many; none: as many as there is room for
  std::optional<std::vector<std::string>> fields; // by name; none: all
};

/// A page's content: what is told in words, as JSON, and the numbers to draw, as texts of their own.
class rep_Content {
 public:
  rep_Content(std::size_t room, cli_Progress& progress) : m_room(room), m_progress(progress) {}

  show_Json about;                // the keys that page.js reads; numbers to draw are places in texts
  std::vector<std::string> texts; // base64
  std::vector<std::string> notes; // what was left out, one line each

  std::size_t Left() const { return m_room - std::min(m_room, m_taken); }
  /// \return the text's place; -1, and the text is dropped, when there is no room for it.
  int Add(std::string text);
  /// Planes together, as [{text, least, greatest}]; null when there is no room for all of them.
  show_Json AddPlanes(std::vector<rep_Plane> planes);
  void Note(std::string line) { notes.push_back(std::move(line)); }

 private:
  std::size_t m_room, m_taken = 0;
  cli_Progress& m_progress;
};

/// The mesh as it is drawn, and where its nodes and elements stand in the page.
struct rep_Drawn {
  bool isThere = false;
  std::vector<int> nodes;    // [drawn] of the mesh
  std::vector<int> elements; // by groups of faces: of every face, then the others
};

/// Adds faces, coordinates, blocks and sets.
rep_Drawn rep_AddMesh(const sto_Mesh& mesh, rep_Content& content);

/// Adds fields, steps and modes. Of each field one step has a place first, then come the modes, then further
/// steps, evenly over the time, as long as there is room. Throws cli_Failure for a field that is not there.
void rep_AddResults(const sto_Mesh& mesh, const std::vector<sto_ModalSystem>& systems,
                    const rep_Choice& choice, const rep_Drawn& drawn, rep_Content& content);
