#pragma once

#include <pdmsim/report/rep_Content.h>

#include <string_view>

// The files of page/ and three.js, put into the program when it is built.
extern const std::string_view rep_kPage, rep_kStyle, rep_kNumbers, rep_kScene, rep_kTurning, rep_kControls,
    rep_kThree, rep_kLicence;

/// Bytes of a page besides the texts to draw, without what is told of the file.
std::size_t rep_FixedSize();

/// A whole page.
/// \param title  its heading.
std::string rep_MakePage(const std::string& title, const rep_Content& content);
