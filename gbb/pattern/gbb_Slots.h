#pragma once

#include <gbb/gbb_AutoArray.h>

/// The holders of an array's elements, in pages that are made when the first slot of them is used: an array
/// of the file costs next to nothing however long it is. A slot keeps its place in memory while it exists.
///
/// Threads: one at a time for each array.
template <class Holder, class Owner>
class gbb_Slots {
 public:
  /// n empty slots.
  /// \param n  at least 0.
  explicit gbb_Slots(int n = 0) : m_length(n) {
    m_pages.Reserve(PageOf(n + kPage - 1));
    while (m_pages.Length() < m_pages.Capacity())
      m_pages.Append(Page());
  }

  int Length() const { return m_length; }

  /// Slot i, 0 <= i < Length(); unchecked.
  Holder& operator[](int i) {
    Page& page = m_pages[PageOf(i)];
    const int place = i % kPage;
    if (place >= page.Length()) [[unlikely]]
      Fill(page, place + 1);
    return page[place];
  }

  /// Calls f(slot, i) for the slots that have been used, and perhaps some empty ones.
  void ForEachUsed(auto f) {
    for (int page = 0; page < m_pages.Length(); ++page)
      for (int place = 0; place < m_pages[page].Length(); ++place)
        f(m_pages[page][place], page * kPage + place);
  }

  /// Takes the last slot away.
  Holder RemoveLast() {
    Page& page = m_pages[PageOf(--m_length)];
    Holder last;
    if (m_length % kPage < page.Length()) {
      last = std::move(page[m_length % kPage]);
      page.RemoveLast(1);
    }
    return last;
  }
  /// Adds empty slots up to n in all.
  void Grow(int n) {
    while (m_pages.Length() < PageOf(n + kPage - 1))
      m_pages.Append(Page());
    m_length = n;
  }

  void Append(Holder holder) {
    if (PageOf(m_length) == m_pages.Length())
      m_pages.Append(Page());
    Page& page = m_pages[PageOf(m_length)];
    Fill(page, m_length % kPage);
    page.Append(std::move(holder));
    ++m_length;
  }

 private:
  static constexpr int kPage = 256;
  using Page = gbb_AutoArray<Holder, Owner>;

  static constexpr int PageOf(int i) { return i / kPage; }
  static void Fill(Page& page, int n) {
    page.Reserve(kPage);
    while (page.Length() < n)
      page.Append(Holder());
  }

  gbb_AutoArray<Page, Owner> m_pages; // a page holds its slots up to the last one used
  int m_length = 0;
};
