#pragma once

#include "generated/GeneratedBook.h"

namespace shelf {

/// Objects of the entity Book. This file is the application's own.
class Book : public JNFoundation::Subclass<Book, GeneratedBook> {
 public:
  void takeAuthor(const JNFoundation::Value& value) override;

 protected:
  using Subclass::Subclass;
};

}  // namespace shelf
