#pragma once

#include <JNFoundation/platform/net/NSURLRequest.h>
#include <JNFoundation/platform/value/NSArray.h>

/// A request as a command for a terminal, to be pasted there or into a report.
///
/// Two forms. `cURLCommand` is the one that teams know: text in double quotes in which nothing but
/// the double quote is escaped. **A shell still reads `$`, backquotes and backslashes in it**: what
/// is pasted may send something else than the request, or run what a body or a header says. Use it
/// for requests whose text you trust. `cURLCommandQuoted` sends exactly the request, whatever is in
/// it, and can leave secrets out.
///
/// Neither is the other's replacement: tools that compare logs know the first one's text.
/// Threads: any that may read the request.
namespace JNFoundation::inline v0_1 {

/// The text with a backslash before each double quote. Nothing else is escaped: backslashes,
/// dollars, backquotes and line breaks stay. Returns: null for null.
Ref<NSString> escapeTerminalString(const Ref<NSString>& text);

/// One command over several lines: method and body in the first, each header field in a line of its
/// own, the URL in the last one, and then the options that show the answer and what was sent:
/// `curl -X POST -d "{\"id\":7}"`, `    -H "Accept: */*"`, `"https://example.com/items" -i -v`. A
/// backslash before each line break makes them one.
///
/// A method or body that is not there is left out, and so is a body that is not UTF-8. The fields
/// stand in the order of `allHTTPHeaderFields`. To the shell, see above; to curl, a body that
/// begins with "@" is the name of a file, and a field whose value is empty is not to be sent.
/// Returns: null for null. Requires: a request with a URL; the process stops with a message
/// otherwise.
Ref<NSString> cURLCommand(const Ref<NSURLRequest>& request);

/// The same request in a form that means itself: all that is the request's stands in single quotes,
/// and neither the shell nor curl reads more into it. Its lines are `curl -g --path-as-is -X 'POST'
/// --data-raw '{"id":7}'`, `    -H 'Authorization: <redacted>'`, `--url 'https://example.com/items'
/// -i -v`. A body that does not fit into a word (it is not UTF-8, has a NUL, or is long) is printed
/// into curl through a pipe. Fields that curl adds by itself, a Content-Type for a body among them,
/// are the same as with the first form.
///
/// Takes: the names, in any case, of header fields whose values are not to be shown, such as
/// `secretHTTPHeaderFields()`; null shows all. The URL and the body are always shown. A NUL in the
/// method or in a field, which no word and no such request can have, is left out.
/// Returns: null for null. Requires: a request with a URL; the process stops with a message
/// otherwise.
Ref<NSString> cURLCommandQuoted(const Ref<NSURLRequest>& request,
                                const Ref<NSArray>& redactedFields = nullptr);

/// The names of fields that usually carry what must not be shown around: Authorization,
/// Proxy-Authorization, Cookie, Set-Cookie, X-Api-Key, X-Auth-Token, X-CSRF-Token.
Ref<NSArray> secretHTTPHeaderFields();

}  // namespace JNFoundation
