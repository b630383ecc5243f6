# cmake -DTOOL=<inline_page> -DWORK=<scratch folder> -P inline_page_test.cmake
#
# The page assembler: what it writes, and that it refuses, with a message that tells why and
# without touching the output, whatever would give a broken page.

set(page ${WORK}/inline_page_test/page)
set(output ${WORK}/inline_page_test/out.html)

# A small page that can be assembled; each check starts from it and spoils it in one way.
function(lay_out_page)
  file(REMOVE_RECURSE ${WORK}/inline_page_test)
  file(WRITE ${page}/index.html
       "<!DOCTYPE html>\n<!-- inline: style.css -->\n<!-- inline: main.js -->\n</html>\n")
  file(WRITE ${page}/style.css "p { margin: 0 }\n")
  file(WRITE ${page}/main.js "let a = 1")
  file(WRITE ${page}/notes.md "not part of the page")
endfunction()

function(fail text)
  message(SEND_ERROR "${text}")
endfunction()

function(run_tool)
  execute_process(COMMAND ${TOOL} ${ARGN} RESULT_VARIABLE status ERROR_VARIABLE errors
                  OUTPUT_VARIABLE printed)
  set(status "${status}" PARENT_SCOPE)
  set(errors "${errors}" PARENT_SCOPE)
endfunction()

function(expect_output what size expected)
  run_tool(${page} ${output} ${size})
  if(NOT status STREQUAL "0")
    fail("${what}: exit status ${status}: ${errors}")
    return()
  endif()
  file(READ ${output} text)
  file(SIZE ${output} bytes)
  if(NOT text STREQUAL expected OR NOT bytes EQUAL size)
    fail("${what}: ${bytes} bytes:\n${text}")
  endif()
endfunction()

# The output keeps what an earlier build wrote.
function(expect_refusal what size message)
  file(WRITE ${output} "earlier")
  run_tool(${page} ${output} ${size})
  if(NOT status STREQUAL "1")
    fail("${what}: exit status ${status}")
  endif()
  if(NOT errors MATCHES "${message}")
    fail("${what}: says \"${errors}\"")
  endif()
  file(READ ${output} text)
  if(NOT text STREQUAL "earlier")
    fail("${what}: the output was written")
  endif()
endfunction()

string(CONCAT assembled "<!DOCTYPE html>\n<style>\np { margin: 0 }\n</style>\n"
       "<script>\nlet a = 1\n</script>\n</html>\n")
string(LENGTH "${assembled}" assembled_size)

lay_out_page()
expect_output("an exact fit" ${assembled_size} "${assembled}")
math(EXPR padded_size "${assembled_size} + 3")
expect_output("padding" ${padded_size} "${assembled}\n\n\n")
math(EXPR small_size "${assembled_size} - 7")
expect_refusal("a page that does not fit" ${small_size}
               "7 bytes too large: ${assembled_size} of ${small_size}")

# Several parts become one element, and the policy names it by its hash. The digest of the text
# between the tags is `printf '\nlet a = 1\nlet b = 2\n' | openssl dgst -sha256 -binary | base64`.
file(WRITE ${page}/second.js "let b = 2\n\n")
file(WRITE ${page}/index.html "'sha256 of script'\n<!-- inline: main.js\n  second.js -->\n")
file(REMOVE ${page}/style.css)
string(CONCAT joined "'sha256-WdES8g0cWLXq3n9uJDK059oApotGJcv7dBtBkHEiwOY='\n"
       "<script>\nlet a = 1\nlet b = 2\n</script>\n")
string(LENGTH "${joined}" joined_size)
expect_output("two parts in one element" ${joined_size} "${joined}")
file(WRITE ${page}/index.html "'sha256 of style'\n<!-- inline: main.js second.js -->\n")
expect_refusal("a hash of nothing" 1000 "allows a style but inlines none")
file(WRITE ${page}/style.css "p { margin: 0 }\n")
file(WRITE ${page}/index.html "<!-- inline: main.js style.css -->\n")
expect_refusal("parts of two kinds" 1000 "style\\.css: a marker names parts of one kind")
lay_out_page()

# What only a reader of the sources needs is left out, line by line; the rest is not touched.
# (Bracket arguments: no escapes, and a leading line feed is not part of the text.)
file(WRITE ${page}/index.html [[
<!DOCTYPE html>
<html> <!-- beside markup: stays -->
<!-- a comment -->
  <!-- inline: style.css -->

	<p title="<!-- x -->">a  b
    c</p>
  <!-- one --><i></i><!-- two -->
    <!-- inline: main.js
  second.js -->
]])
file(WRITE ${page}/style.css [[
/* a comment */
p {
  margin: 0; /* stays */
}
/* one */ i { margin: 0 } /* two */
/* two
   lines */
]])
file(WRITE ${page}/main.js [[
// a comment

const url = "http://x";  // stays
  //another
	const text = `  // in ${"a"}  `;
]])
file(WRITE ${page}/second.js "  let b = 2  ")
string(CONCAT stripped [[
<!DOCTYPE html>
<html> <!-- beside markup: stays -->
<style>
p {
margin: 0; /* stays */
}
/* one */ i { margin: 0 } /* two */
/* two
lines */
</style>
<p title="<!-- x -->">a  b
c</p>
<!-- one --><i></i><!-- two -->
<script>
const url = "http://x";  // stays
const text = `  // in ${"a"}  `;
let b = 2  
</script>
]])
string(LENGTH "${stripped}" stripped_size)
expect_output("comments and indentation" ${stripped_size} "${stripped}")
lay_out_page()

# Where the blanks at the start of a line may mean something, there is no guessing.
file(WRITE ${page}/main.js "let a = `one\n  two`")
expect_refusal("a template literal of two lines" 1000 "main\\.js: a template literal may not go")
file(WRITE ${page}/main.js "let a = 'one\\\n  two'")
expect_refusal("a string of two lines" 1000 "main\\.js: a string may not go")
lay_out_page()
file(APPEND ${page}/index.html "<pre>\n  a</pre>")
expect_refusal("preformatted text" 1000 "index\\.html: <pre may not go")
lay_out_page()
file(APPEND ${page}/index.html "<textarea>\n  a</textarea>")
expect_refusal("a text field's text" 1000 "index\\.html: <textarea may not go")
lay_out_page()

file(REMOVE ${page}/main.js)
expect_refusal("a missing script" 1000 "main\\.js is missing")
lay_out_page()
file(REMOVE ${page}/index.html)
expect_refusal("a missing shell" 1000 "index\\.html is missing")
lay_out_page()
file(WRITE ${page}/forgotten.js "let b = 2")
expect_refusal("a script that nobody inlines" 1000 "forgotten\\.js .* does not inline it")
lay_out_page()
file(WRITE ${page}/main.js "let s = '</script>'")
expect_refusal("a script that ends itself" 1000 "main\\.js contains </script")
lay_out_page()
file(APPEND ${page}/index.html "<!-- inline: main.js -->")
expect_refusal("a script inlined twice" 1000 "main\\.js is inlined twice")
lay_out_page()
file(APPEND ${page}/index.html "<!-- inline: notes.md -->")
expect_refusal("a part of another kind" 1000 "notes\\.md: only")
lay_out_page()
file(APPEND ${page}/index.html "<!-- inline: main.js")
expect_refusal("a marker left open" 1000 "open inline marker")

foreach(arguments "" "${page};${output}" "${page};${output};12x" "${page};${output};-1")
  run_tool(${arguments})
  if(NOT status STREQUAL "2" OR NOT errors MATCHES "^usage:")
    fail("arguments \"${arguments}\": exit status ${status}")
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK}/inline_page_test)
