#pragma once

#include "generated/GeneratedAuthor.h"

namespace shelf {

/// Objects of the entity Author. This file is the application's own.
class Author : public JNFoundation::Subclass<Author, GeneratedAuthor> {
 protected:
  using Subclass::Subclass;
};

}  // namespace shelf
