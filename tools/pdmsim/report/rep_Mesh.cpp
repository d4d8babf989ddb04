#include <pdmsim/report/rep_Content.h>

#include <pdmsim/report/rep_Order.h>

#include <algorithm>

namespace {

constexpr std::size_t kNodesInside = 20'000; // of a set that is drawn; of larger ones those on the skin only

std::string kindOf(mesh_SetKind kind) {
  return kind == mesh_SetKind::kNodes      ? "node set"
         : kind == mesh_SetKind::kElements ? "element set"
                                           : "side set";
}

std::vector<std::string> pack(const std::vector<rep_Faces>& groups, rep_Corners& corners) {
  std::vector<std::string> texts;
  for (const rep_Faces& faces : groups)
    texts.push_back(corners.Pack(faces.nodes));
  return texts;
}

/// Packs the skin. Where the order of the mesh makes that large, the faces get a better one first.
std::vector<std::string> packSkin(const mesh_Source& mesh, std::vector<rep_Faces>& groups,
                                  rep_Corners& corners) {
  std::vector<std::string> texts = pack(groups, corners);
  std::size_t taken = 0, count = 0;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    taken += texts[i].size();
    count += groups[i].nodes.size();
  }
  if (taken <= count) // a byte a corner
    return texts;
  rep_OrderByNeighbours(mesh.Nodes(), groups);
  corners = rep_Corners(mesh.Nodes());
  return pack(groups, corners);
}

show_Json facesOf(const std::vector<rep_Faces>& groups, std::vector<std::string> texts,
                  rep_Content& content) {
  show_Json list = show_Json::array();
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const rep_Faces& faces = groups[i];
    const std::size_t count = faces.nodes.size() / static_cast<std::size_t>(faces.corners);
    list.push_back({{"block", faces.block},
                    {"other", faces.other},
                    {"corners", faces.corners},
                    {"count", count},
                    {"nodes", content.Add(std::move(texts[i]))}});
  }
  return list;
}

bool isWhole(const show_Json& groups) {
  return std::none_of(groups.begin(), groups.end(), [](const show_Json& one) { return one["nodes"] == -1; });
}

/// The places, among all faces, of those that an element of the set has.
std::vector<int> facesWith(const std::vector<int>& members, const std::vector<rep_Faces>& groups,
                           std::size_t elements) {
  std::vector<bool> isMember(elements);
  for (const int member : members)
    if (member >= 0 && static_cast<std::size_t>(member) < elements)
      isMember[static_cast<std::size_t>(member)] = true;
  std::vector<int> places;
  int place = 0;
  for (const rep_Faces& faces : groups)
    for (std::size_t i = 0; i < faces.Count(); ++i, ++place)
      if (isMember[static_cast<std::size_t>(faces.elements[i])] ||
          (!faces.others.empty() && isMember[static_cast<std::size_t>(faces.others[i])]))
        places.push_back(place);
  return places;
}

/// A set with what is drawn of it: nodes or sides by their corners, elements by their faces.
show_Json setOf(const sto_Mesh& mesh, const mesh_Set& set, const rep_Skin& skin, rep_Corners& corners,
                bool isDrawn, rep_Content& content) {
  show_Json json{{"name", set.name}, {"id", set.id}, {"kind", kindOf(set.kind)}, {"size", set.size}};
  if (!isDrawn || set.size == 0)
    return json;
  if (set.kind == mesh_SetKind::kSides) {
    const std::vector<rep_Faces> sides = rep_FindSides(mesh, set);
    json["groups"] = facesOf(sides, pack(sides, corners), content);
  } else {
    std::vector<int> members(set.size);
    mesh.ReadSet(set, 0, set.size, members.data());
    if (set.kind == mesh_SetKind::kElements) {
      const std::vector<int> faces = facesWith(members, skin.faces, mesh.Elements());
      json["faces"] = {{"count", faces.size()}, {"places", content.Add(rep_PackAscending(faces))}};
    } else {
      std::erase_if(members, [&](int node) {
        return node < 0 || static_cast<std::size_t>(node) >= mesh.Nodes() ||
               (set.size > kNodesInside && !corners.Has(node));
      });
      rep_Faces points;
      points.corners = 1;
      points.nodes = std::move(members);
      json["groups"] = facesOf({points}, {corners.Pack(points.nodes)}, content);
    }
  }
  return json;
}

void addCoordinates(const sto_Mesh& mesh, const std::vector<int>& used, rep_Content& content,
                    rep_Drawn& drawn) {
  std::vector<rep_Plane> planes;
  std::vector<double> all(mesh.Nodes()), some(used.size());
  for (std::size_t axis = 0; axis < mesh.Dimension(); ++axis) {
    mesh.Coordinate(axis)->Read(0, all.size(), all.data());
    for (std::size_t i = 0; i < used.size(); ++i)
      some[i] = all[static_cast<std::size_t>(used[i])];
    planes.push_back(rep_PackPlane(some));
  }
  content.about["coordinates"] = used.empty() ? show_Json() : content.AddPlanes(std::move(planes));
  drawn.isThere = !content.about["coordinates"].is_null();
}

void addElements(const rep_Skin& skin, rep_Drawn& drawn) {
  for (const rep_Faces& faces : skin.faces) {
    drawn.elements.insert(drawn.elements.end(), faces.elements.begin(), faces.elements.end());
    drawn.elements.insert(drawn.elements.end(), faces.others.begin(), faces.others.end());
  }
}

} // namespace

int rep_Content::Add(std::string text) {
  constexpr std::size_t kAround = 64; // the element around the text
  m_progress.Advance(static_cast<double>(text.size()));
  if (text.size() + kAround > Left())
    return -1;
  m_taken += text.size() + kAround;
  texts.push_back(std::move(text));
  return static_cast<int>(texts.size()) - 1;
}

show_Json rep_Content::AddPlanes(std::vector<rep_Plane> planes) {
  std::size_t size = 0;
  for (const rep_Plane& plane : planes)
    size += plane.text.size() + 256;
  if (size > Left())
    return nullptr;
  show_Json list = show_Json::array();
  for (rep_Plane& plane : planes)
    list.push_back(
        {{"text", Add(std::move(plane.text))}, {"least", plane.least}, {"greatest", plane.greatest}});
  return list;
}

rep_Drawn rep_AddMesh(const sto_Mesh& mesh, rep_Content& content) {
  rep_Drawn drawn;
  show_Json blocks = show_Json::array(), sets = show_Json::array();
  for (const mesh_Block& block : mesh.Blocks())
    blocks.push_back(
        {{"name", block.name}, {"id", block.id}, {"type", block.type}, {"elements", block.elements}});
  content.about["blocks"] = std::move(blocks);
  rep_Corners corners(mesh.Nodes());
  rep_Skin skin;
  const bool hasCoordinates = mesh.Nodes() > 0 && !mesh.CoordinateField().IsNull();
  bool isDrawn = hasCoordinates;
  if (isDrawn) {
    skin = rep_FindSkin(mesh);
    for (std::string& note : skin.notes)
      content.Note(std::move(note));
    content.about["faces"] = facesOf(skin.faces, packSkin(mesh, skin.faces, corners), content);
    isDrawn = isWhole(content.about["faces"]);
  } else {
    content.Note("the mesh is not drawn: it has no coordinates");
  }
  for (const auto kind : {mesh_SetKind::kNodes, mesh_SetKind::kElements, mesh_SetKind::kSides})
    for (const mesh_Set& set : mesh.Sets(kind))
      sets.push_back(setOf(mesh, set, skin, corners, isDrawn, content));
  content.about["sets"] = std::move(sets);
  if (isDrawn)
    addCoordinates(mesh, corners.Used(), content, drawn);
  if (isDrawn && corners.Used().empty())
    content.Note("the mesh is not drawn: it has no elements that can be");
  else if (!drawn.isThere && hasCoordinates)
    content.Note("the mesh is not drawn: its faces need more room than the page may have (--most)");
  drawn.nodes = corners.Used();
  addElements(skin, drawn);
  return drawn;
}
