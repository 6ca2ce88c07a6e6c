// A PDF file written front to back: each page's content stream and page object go to the output
// when the page ends (compressed, on a thread of the document's own while the next page is drawn),
// and what can only be known at the end (the fonts' glyphs, the page tree, the outline, the
// document information, the cross-reference table) follows them. Nothing of a finished page is
// kept but its object number.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.hpp"
#include "runtime/ordered_worker.hpp"

namespace nrw {

// Appends `value` with at most three decimals and without trailing zeros ("12.5", "-3", "0").
// Returns the number as written.
NRW_API double AppendPdfNumber(std::string& out, double value);

// Decodes one UTF-8 character at `i` (advancing it); a broken sequence gives U+FFFD.
NRW_API char32_t NextCodePoint(std::string_view text, size_t& i);

// Appends the character as UTF-16BE units in hexadecimal (four digits, or eight for a pair).
NRW_API void AppendUtf16Units(std::string& out, char32_t c);

// A text string of the document's information or outline: a literal for printable ASCII, else
// UTF-16BE in hexadecimal with its byte-order mark.
NRW_API std::string PdfTextString(std::string_view utf8);

class NRW_API PdfDocument {
 public:
  // Starts the file: `width` and `height` of every page, in points.
  PdfDocument(std::ostream& out, double width, double height);
  ~PdfDocument();
  PdfDocument(const PdfDocument&) = delete;
  PdfDocument& operator=(const PdfDocument&) = delete;

  // A number for an object written later (with WriteObject or WriteStream).
  int Reserve() { return next_object_++; }
  void WriteObject(int number, std::string_view body);
  // `dictionary` without its Length and Filter, which are added; `data` is compressed.
  void WriteStream(int number, std::string_view dictionary, std::string_view data);

  // Fonts are named in every page's resources: the name ("F1", ...) of the font `object`.
  std::string AddFont(int object);

  // The page that ends next: its object number, known while it is drawn (for outline targets).
  int CurrentPage() const { return current_page_; }
  // Hands the page (`content`: its drawing operators) to the writing thread and starts the next
  // one; waits while a few pages are still waiting. Raises the error of an earlier page's write.
  void EndPage(std::string_view content);

  // An outline entry pointing at (x, y) of the current page, under `parent` (0: the top);
  // returns its number for the entries below it. `open` shows its children at first.
  int AddOutline(int parent, std::string title, bool open, double x, double y);
  // The document information (Title, Author, Subject, Creator, ...), as UTF-8.
  void SetInfo(std::string key, std::string value);

  // Waits for the pages to be written (raising their error). Called before the fonts are written.
  void WritePages();
  // Writes the page tree, the outline, the information and the cross-reference table. The fonts
  // must have been written before.
  void Finish();

 private:
  struct Outline {
    std::string title;
    int parent = 0, page = 0;
    bool open = false;
    double x = 0, y = 0;
    int object = 0, first = 0, last = 0, next = 0, prev = 0, count = 0;
  };
  // A page waiting to be written: its content stream's object, its own object, its operators.
  struct PageJob {
    int contents = 0, page = 0;
    std::string content;
  };
  static constexpr size_t kPagesInFlight = 4;
  void WritePage(const PageJob& job);

  void Write(std::string_view bytes);
  void BeginObject(int number);
  void Deflate(std::string_view data);
  int WriteOutlines();
  void Check();

  std::ostream& out_;
  double width_, height_;
  uint64_t offset_ = 0;            // bytes written so far
  std::vector<uint64_t> offsets_;  // by object number (0 unused)
  int next_object_ = 1;
  int pages_object_, resources_object_, current_page_;
  std::vector<int> pages_;         // the page objects, in order
  std::vector<int> fonts_;         // the font objects, named F1, F2, ...
  std::vector<Outline> outlines_;  // [0] is the top
  std::vector<std::pair<std::string, std::string>> info_;
  z_stream zlib_{};
  std::string compressed_;  // reused for every stream
  std::string header_;      // reused for every object's header

  // The writing thread ("nrw-pdf"). While pages are drawn only that thread writes to the file;
  // after WritePages only the caller's thread does.
  std::unique_ptr<OrderedWorker<PageJob>> writer_;
};

}  // namespace nrw
