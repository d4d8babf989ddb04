#include <pdmsim/report/rep_Page.h>

#include <pdmsim/cli/cli_Markup.h>
#include <pdmsim/report/rep_Words.h>

#include <functional>

namespace {

/// JSON in an element of script: no '<' of it can end the element.
std::string inScript(const show_Json& json) {
  const std::string text = json.dump(-1, ' ', false, show_Json::error_handler_t::replace);
  std::string out;
  for (const char c : text)
    if (c == '<')
      out += "\\u003c";
    else
      out += c;
  return out;
}

std::string notesOf(const rep_Content& content) {
  if (content.notes.empty())
    return "";
  std::string html = "<section id=\"notes\"><h2>Not in this page</h2><ul>";
  for (const std::string& note : content.notes)
    html += "<li>" + cli_Escaped(note) + "</li>";
  return html + "</ul></section>";
}

/// The template with each {{name}} in it replaced, once: what is put in is not looked at again.
std::string filled(std::string_view from, std::size_t size,
                   const std::function<void(std::string_view, std::string&)>& put) {
  std::string out;
  out.reserve(size);
  for (;;) {
    const std::size_t begin = from.find("{{"), end = from.find("}}", begin);
    out += from.substr(0, begin);
    if (begin == std::string_view::npos)
      return out;
    put(from.substr(begin + 2, end - begin - 2), out);
    from.remove_prefix(end + 2);
  }
}

} // namespace

std::size_t rep_FixedSize() {
  return rep_kPage.size() + rep_kStyle.size() + rep_kNumbers.size() + rep_kScene.size() +
         rep_kTurning.size() + rep_kControls.size() + rep_kThree.size() + rep_kLicence.size();
}

std::string rep_MakePage(const std::string& title, const rep_Content& content) {
  std::size_t size = rep_FixedSize() + 1'000'000;
  for (const std::string& text : content.texts)
    size += text.size() + 64;
  return filled(rep_kPage, size, [&](std::string_view name, std::string& out) {
    if (name == "title")
      out += cli_Escaped(title);
    else if (name == "headline")
      out += cli_Escaped(content.about["headline"].get<std::string>());
    else if (name == "style")
      out += rep_kStyle;
    else if (name == "notes")
      out += notesOf(content);
    else if (name == "tables")
      out += rep_Tables(content.about);
    else if (name == "version")
      out += PDM_VERSION;
    else if (name == "about")
      out += inScript(content.about);
    else if (name == "texts")
      for (const std::string& text : content.texts)
        out += "<script type=\"text/plain\" class=\"text\">" + text + "</script>\n";
    else if (name == "licence")
      out += rep_kLicence;
    else if (name == "three")
      out += rep_kThree;
    else if (name == "script")
      (((out += rep_kNumbers) += rep_kScene) += rep_kTurning) += rep_kControls;
  });
}
