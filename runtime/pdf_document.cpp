#include "runtime/pdf_document.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "host/exception.hpp"

namespace nrw {
namespace {

// zlib's level for the streams: pages of a month's listing compress at level 3 to about a tenth
// more than at the default 6, in about two thirds of the time.
constexpr int kCompression = 3;

}  // namespace

double AppendPdfNumber(std::string& out, double value) {
  long long thousandths = std::llround(value * 1000);
  const double written = static_cast<double>(thousandths) / 1000;
  if (thousandths < 0) {
    out += '-';
    thousandths = -thousandths;
  }
  char digits[24];
  out.append(digits, std::to_chars(digits, digits + sizeof digits, thousandths / 1000).ptr);
  int fraction = static_cast<int>(thousandths % 1000);
  if (fraction != 0) {
    out += '.';
    for (int unit = 100; fraction != 0; unit /= 10) {
      out += static_cast<char>('0' + fraction / unit);
      fraction %= unit;
    }
  }
  return written;
}

char32_t NextCodePoint(std::string_view text, size_t& i) {
  const auto c = static_cast<unsigned char>(text[i++]);
  const int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
  char32_t code = extra == 0 ? c : c & (0x3F >> extra);
  for (int n = 0; n < extra; ++n) {
    if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
      return 0xFFFD;
    }
    code = (code << 6) | (static_cast<unsigned char>(text[i++]) & 0x3F);
  }
  return code;
}

void AppendUtf16Units(std::string& out, char32_t c) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  const auto unit = [&](unsigned value) {
    for (int shift = 12; shift >= 0; shift -= 4) {
      out += kHex[(value >> shift) & 0xF];
    }
  };
  if (c >= 0x10000) {  // a surrogate pair
    unit(0xD800 + ((c - 0x10000) >> 10));
    unit(0xDC00 + ((c - 0x10000) & 0x3FF));
  } else {
    unit(c);
  }
}

std::string PdfTextString(std::string_view utf8) {
  bool plain = true;
  for (const char c : utf8) {
    plain = plain && c >= ' ' && c <= '~';
  }
  std::string out;
  if (plain) {
    out += '(';
    for (const char c : utf8) {
      if (c == '(' || c == ')' || c == '\\') {
        out += '\\';
      }
      out += c;
    }
    return out + ')';
  }
  out += "<FEFF";
  for (size_t i = 0; i < utf8.size();) {
    AppendUtf16Units(out, NextCodePoint(utf8, i));
  }
  return out + '>';
}

PdfDocument::PdfDocument(std::ostream& out, double width, double height)
    : out_(out), width_(width), height_(height) {
  if (deflateInit(&zlib_, kCompression) != Z_OK) {
    throw Exception("cannot start the PDF output (zlib)");
  }
  offsets_.push_back(0);
  pages_object_ = Reserve();
  resources_object_ = Reserve();
  current_page_ = Reserve();
  outlines_.emplace_back();
  // The binary comment tells transfer programs that the file is not text.
  Write("%PDF-1.5\n%\xE2\xE3\xCF\xD3\n");
  writer_ =
      std::make_unique<OrderedWorker<PageJob>>("nrw-pdf", kPagesInFlight, [this](PageJob& job) {
        WritePage(job);
        job.content.clear();
      });
}

PdfDocument::~PdfDocument() {
  writer_.reset();  // stops the thread; pages still waiting belong to a failed run
  deflateEnd(&zlib_);
}

void PdfDocument::WritePage(const PageJob& job) {
  WriteStream(job.contents, "", job.content);
  std::string page = "<< /Type /Page /Parent " + std::to_string(pages_object_) + " 0 R";
  page += " /MediaBox [0 0 ";
  AppendPdfNumber(page, width_);
  page += ' ';
  AppendPdfNumber(page, height_);
  page += "] /Resources " + std::to_string(resources_object_) + " 0 R";
  page += " /Contents " + std::to_string(job.contents) + " 0 R >>";
  WriteObject(job.page, page);
  Check();
}

void PdfDocument::Write(std::string_view bytes) {
  out_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  offset_ += bytes.size();
}

void PdfDocument::BeginObject(int number) {
  if (offsets_.size() <= static_cast<size_t>(number)) {
    offsets_.resize(static_cast<size_t>(number) + 1, 0);
  }
  offsets_[static_cast<size_t>(number)] = offset_;
  header_.clear();
  header_.append(std::to_string(number)).append(" 0 obj\n");
  Write(header_);
}

void PdfDocument::WriteObject(int number, std::string_view body) {
  BeginObject(number);
  Write(body);
  Write("\nendobj\n");
}

void PdfDocument::Deflate(std::string_view data) {
  deflateReset(&zlib_);
  compressed_.resize(deflateBound(&zlib_, data.size()));
  zlib_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  zlib_.avail_in = static_cast<uInt>(data.size());
  zlib_.next_out = reinterpret_cast<Bytef*>(compressed_.data());
  zlib_.avail_out = static_cast<uInt>(compressed_.size());
  if (deflate(&zlib_, Z_FINISH) != Z_STREAM_END) {
    throw Exception("cannot compress the PDF output (zlib)");
  }
  compressed_.resize(zlib_.total_out);
}

void PdfDocument::WriteStream(int number, std::string_view dictionary, std::string_view data) {
  Deflate(data);
  BeginObject(number);
  std::string head = "<< ";
  head.append(dictionary).append(" /Length ").append(std::to_string(compressed_.size()));
  head.append(" /Filter /FlateDecode >>\nstream\n");
  Write(head);
  Write(compressed_);
  Write("\nendstream\nendobj\n");
}

std::string PdfDocument::AddFont(int object) {
  fonts_.push_back(object);
  return "F" + std::to_string(fonts_.size());
}

void PdfDocument::EndPage(std::string_view content) {
  PageJob job = writer_->Take();  // a written page's buffer, when there is one
  job.contents = Reserve();
  job.page = current_page_;
  job.content.assign(content);
  pages_.push_back(current_page_);
  current_page_ = Reserve();
  writer_->HandOver(std::move(job));
}

void PdfDocument::WritePages() {
  writer_->Drain();
}

int PdfDocument::AddOutline(int parent, std::string title, bool open, double x, double y) {
  Outline entry;
  entry.title = std::move(title);
  entry.parent = parent;
  entry.page = current_page_;
  entry.open = open;
  entry.x = x;
  entry.y = y;
  outlines_.push_back(std::move(entry));
  return static_cast<int>(outlines_.size()) - 1;
}

void PdfDocument::SetInfo(std::string key, std::string value) {
  info_.emplace_back(std::move(key), std::move(value));
}

// The outline's entries linked to their parents and siblings; returns the top's object, or 0
// when there is no entry. A parent's count is its open descendants (negative when closed).
int PdfDocument::WriteOutlines() {
  if (outlines_.size() == 1) {
    return 0;
  }
  for (Outline& entry : outlines_) {
    entry.object = Reserve();
  }
  for (size_t i = 1; i < outlines_.size(); ++i) {
    Outline& entry = outlines_[i];
    Outline& parent = outlines_[static_cast<size_t>(entry.parent)];
    if (parent.first == 0) {
      parent.first = static_cast<int>(i);
    } else {
      outlines_[static_cast<size_t>(parent.last)].next = static_cast<int>(i);
      entry.prev = parent.last;
    }
    parent.last = static_cast<int>(i);
  }
  // Children come after their parents: counting from the end adds each subtree once.
  outlines_[0].open = true;
  for (size_t i = outlines_.size(); i-- > 1;) {
    const Outline& entry = outlines_[i];
    Outline& parent = outlines_[static_cast<size_t>(entry.parent)];
    parent.count += 1 + (entry.open ? entry.count : 0);
  }
  const auto ref = [&](int index) { return std::to_string(outlines_[index].object) + " 0 R"; };
  for (size_t i = 0; i < outlines_.size(); ++i) {
    const Outline& entry = outlines_[i];
    std::string body = "<< ";
    if (i == 0) {
      body += "/Type /Outlines";
    } else {
      body += "/Title " + PdfTextString(entry.title) + "\n/Parent " + ref(entry.parent);
      body += " /Dest [" + std::to_string(entry.page) + " 0 R /XYZ ";
      AppendPdfNumber(body, entry.x);
      body += ' ';
      AppendPdfNumber(body, entry.y);
      body += " 0]";
      if (entry.prev != 0) {
        body += " /Prev " + ref(entry.prev);
      }
      if (entry.next != 0) {
        body += " /Next " + ref(entry.next);
      }
    }
    if (entry.first != 0) {
      body += " /First " + ref(entry.first) + " /Last " + ref(entry.last);
      body += " /Count " + std::to_string(entry.open ? entry.count : -entry.count);
    }
    WriteObject(entry.object, body + " >>");
  }
  return outlines_[0].object;
}

void PdfDocument::Finish() {
  WritePages();
  std::string fonts;
  for (size_t i = 0; i < fonts_.size(); ++i) {
    fonts += " /F" + std::to_string(i + 1) + ' ' + std::to_string(fonts_[i]) + " 0 R";
  }
  WriteObject(resources_object_, "<< /Font <<" + fonts + " >> >>");
  std::string kids;
  for (const int page : pages_) {
    kids += std::to_string(page) + " 0 R ";
  }
  WriteObject(pages_object_, "<< /Type /Pages /Kids [ " + kids + "] /Count " +
                                 std::to_string(pages_.size()) + " >>");
  const int outline = WriteOutlines();
  const int catalog = Reserve();
  std::string body = "<< /Type /Catalog /Pages " + std::to_string(pages_object_) + " 0 R";
  if (outline != 0) {
    body += " /Outlines " + std::to_string(outline) + " 0 R /PageMode /UseOutlines";
  }
  WriteObject(catalog, body + " >>");
  const int info = Reserve();
  body = "<<";
  for (const auto& [key, value] : info_) {
    if (value.empty()) {
      continue;
    }
    body += " /" + key + ' ' + PdfTextString(value);
  }
  WriteObject(info, body + " >>");

  // The page reserved for after the last one was never written: a free entry.
  const uint64_t xref = offset_;
  std::string table = "xref\n0 " + std::to_string(next_object_) + "\n0000000000 65535 f \n";
  offsets_.resize(static_cast<size_t>(next_object_), 0);
  char line[32];
  for (size_t i = 1; i < offsets_.size(); ++i) {
    if (offsets_[i] == 0) {
      table += "0000000000 65535 f \n";
    } else {
      std::snprintf(line, sizeof line, "%010llu 00000 n \n",
                    static_cast<unsigned long long>(offsets_[i]));
      table += line;
    }
  }
  table += "trailer\n<< /Size " + std::to_string(next_object_) + " /Root " +
           std::to_string(catalog) + " 0 R /Info " + std::to_string(info) + " 0 R >>\n";
  table += "startxref\n" + std::to_string(xref) + "\n%%EOF\n";
  Write(table);
  out_.flush();
  Check();
}

void PdfDocument::Check() {
  if (!out_.good()) {
    throw Exception("cannot write the PDF output");
  }
}

}  // namespace nrw
