#include <pdmsim/import/imp_Names.h>

std::string imp_Names::Take(const std::string& name, long long id, const std::string& what) {
  if (m_taken.insert(name).second)
    return name;
  const std::string numbered = name + "_" + std::to_string(id);
  std::string key = numbered;
  for (int i = 2; !m_taken.insert(key).second; ++i)
    key = numbered + "_" + std::to_string(i);
  m_renamed.push_back({what, name, key});
  return key;
}

std::vector<std::string> imp_TakeAll(imp_Names& names, const std::vector<imp_Wanted>& wanted) {
  std::vector<std::string> keys(wanted.size());
  for (const bool named : {true, false})
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      const imp_Wanted& one = wanted[i];
      if (one.name.empty() == named)
        continue;
      const std::string id = std::to_string(one.id);
      keys[i] = names.Take(named ? one.name : one.word + ("_" + id), one.id, one.word + (" " + id));
    }
  return keys;
}
