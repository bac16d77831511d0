#include "JNFoundation/util/NSURLRequest+cURL.h"

#include <string>
#include <unordered_set>

#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {

namespace {

const ClassDeclaration<NSURLRequest> declarationOfNSURLRequestcURL =
    ClassDeclaration<NSURLRequest>().operation("cURLCommand", [](NSURLRequest& request) {
      return cURLCommand(Ref<NSURLRequest>(&request));
    });

/// Systems limit the length of one argument of a program; those of a shell's own `printf` are free.
constexpr std::size_t longestArgument = 100000;

std::string_view bytesOf(const Value& value) {
  const auto* string = as<NSString>(value);
  return string ? string->utf8() : std::string_view();
}

std::string_view addressOf(const NSURLRequest& request) {
  if (!request.URL()) fatalError("cURLCommand: the request has no URL");
  return request.URL()->absoluteString()->utf8();
}

void appendEscaped(std::string& command, std::string_view text) {
  for (const char c : text) {
    if (c == '"') command += '\\';
    command += c;
  }
}

/// In single quotes nothing but their end has a meaning.
void appendQuoted(std::string& command, std::string_view text) {
  command += '\'';
  for (const char c : text) {
    if (c == '\'') {
      command += "'\\''";
    } else if (c != '\0') {
      command += c;
    }
  }
  command += '\'';
}

void appendOctal(std::string& command, std::string_view bytes) {
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    command += '\\';
    command += static_cast<char>('0' + (byte >> 6));
    command += static_cast<char>('0' + (byte >> 3 & 7));
    command += static_cast<char>('0' + (byte & 7));
  }
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// How the body gets into a quoted command.
enum class BodyForm { None, Argument, PipedText, PipedBytes };

BodyForm formOf(const Ref<NSData>& body) {
  if (!body) return BodyForm::None;
  const std::string_view bytes = body->view();
  if (bytes.find('\0') != std::string_view::npos || !isValidUTF8(bytes)) {
    return BodyForm::PipedBytes;
  }
  return bytes.size() > longestArgument ? BodyForm::PipedText : BodyForm::Argument;
}

void appendQuotedField(std::string& command, std::string_view name, std::string_view value) {
  command += "\\\n    -H ";
  std::string field(name);
  // To curl a name with a colon and nothing behind it is a field to leave out.
  if (isBlank(value)) {
    field += ';';
  } else {
    field += ": ";
    field += value;
  }
  appendQuoted(command, field);
  command += ' ';
}

}  // namespace

Ref<NSString> escapeTerminalString(const Ref<NSString>& text) {
  if (!text) return nullptr;
  std::string escaped;
  appendEscaped(escaped, text->utf8());
  return NSString::fromText(escaped);
}

Ref<NSString> cURLCommand(const Ref<NSURLRequest>& request) {
  if (!request) return nullptr;
  std::string command = "curl ";
  if (const Ref<NSString>& method = request->HTTPMethod()) {
    command += "-X ";
    command += method->utf8();
    command += ' ';
  }
  if (const Ref<NSData>& body = request->HTTPBody(); body && isValidUTF8(body->view())) {
    command += "-d \"";
    appendEscaped(command, body->view());
    command += "\" ";
  }
  for (const auto& [name, value] : request->allHTTPHeaderFields()) {
    command += "\\\n    -H \"";
    appendEscaped(command, bytesOf(name));
    command += ": ";
    appendEscaped(command, bytesOf(value));
    command += "\" ";
  }
  command += "\\\n\"";
  appendEscaped(command, addressOf(*request));
  command += "\" -i -v";
  return NSString::fromText(command);
}

Ref<NSString> cURLCommandQuoted(const Ref<NSURLRequest>& request,
                                const Ref<NSArray>& redactedFields) {
  if (!request) return nullptr;
  std::unordered_set<std::string> redacted;
  if (redactedFields) {
    for (const Value& name : redactedFields) {
      if (const auto* text = as<NSString>(name)) {
        redacted.insert(text->lowercaseString()->toStdString());
      }
    }
  }
  const Ref<NSData>& body = request->HTTPBody();
  const BodyForm form = formOf(body);
  std::string command;
  if (form == BodyForm::PipedBytes) {
    command += "printf '";
    appendOctal(command, body->view());
    command += "' | ";
  } else if (form == BodyForm::PipedText) {
    command += "printf %s ";
    appendQuoted(command, body->view());
    command += " | ";
  }
  // Brackets in the address are no patterns, and its dots are the server's business.
  command += "curl -g --path-as-is ";
  if (const Ref<NSString>& method = request->HTTPMethod()) {
    // With the method alone curl would wait for a body of the answer that never comes.
    if (method->utf8() == "HEAD" && form == BodyForm::None) {
      command += "-I ";
    } else {
      command += "-X ";
      appendQuoted(command, method->utf8());
      command += ' ';
    }
  }
  if (form == BodyForm::Argument) {
    command += "--data-raw ";
    appendQuoted(command, body->view());
    command += ' ';
  } else if (form != BodyForm::None) {
    command += "--data-binary @- ";
  }
  for (const auto& [name, value] : request->allHTTPHeaderFields()) {
    const bool isSecret =
        redacted.count(as<NSString>(Value(name))->lowercaseString()->toStdString()) > 0;
    appendQuotedField(command, bytesOf(name), isSecret ? "<redacted>" : bytesOf(value));
  }
  command += "\\\n--url ";
  appendQuoted(command, addressOf(*request));
  command += " -i -v";
  return NSString::fromText(command);
}

Ref<NSArray> secretHTTPHeaderFields() {
  return NSArray::arrayWithObjects("Authorization", "Proxy-Authorization", "Cookie", "Set-Cookie",
                                   "X-Api-Key", "X-Auth-Token", "X-CSRF-Token");
}

}  // namespace JNFoundation
