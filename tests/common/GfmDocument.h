// GfmDocument: a Markdown text parsed by cmark-gfm with GitHub's table, strikethrough and
// task-list extensions, for the tests that read our Markdown back as a reader would.
#ifndef VELDRAKE_TESTS_GFMDOCUMENT_H_
#define VELDRAKE_TESTS_GFMDOCUMENT_H_

#include <cmark-gfm-core-extensions.h>
#include <cmark-gfm.h>

#include <string>

class GfmDocument {
 public:
  explicit GfmDocument(const std::string& markdown) {
    cmark_gfm_core_extensions_ensure_registered();
    parser_ = cmark_parser_new(CMARK_OPT_DEFAULT);
    for (const char* name : {"table", "strikethrough", "tasklist"})
      cmark_parser_attach_syntax_extension(parser_, cmark_find_syntax_extension(name));
    cmark_parser_feed(parser_, markdown.data(), markdown.size());
    root_ = cmark_parser_finish(parser_);
  }
  ~GfmDocument() {
    cmark_node_free(root_);
    cmark_parser_free(parser_);
  }
  GfmDocument(const GfmDocument&) = delete;
  GfmDocument& operator=(const GfmDocument&) = delete;

  cmark_node* root() const { return root_; }
  cmark_llist* extensions() const { return cmark_parser_get_syntax_extensions(parser_); }

 private:
  cmark_parser* parser_;
  cmark_node* root_;
};

#endif  // VELDRAKE_TESTS_GFMDOCUMENT_H_
