#include "host/Messages.h"

#include <vector>

#include "MacRoman.h"

namespace tessel::host {

namespace {

constexpr std::string_view kUsageText =
    "usage: tessel COMMAND [options]\n"
    "\n"
    "Commands:\n"
    "  export DOCUMENT [--memory-limit BYTES] [--select PATH] [--script FILE]\n"
    "      Writes the document's pixels back into the rectangle of the image\n"
    "      file it was cut from, in place.\n"
    "      --memory-limit BYTES  pixels handed to the plug-in at once (default 67108864)\n"
    "      --select PATH         the file to answer with if the plug-in asks for the\n"
    "                            image file again (the source moved or changed)\n"
    "      --script FILE         answer the plug-in's dialogs from FILE instead of a\n"
    "                            person (see below)\n"
    "  extract IMAGE --rect TOP,LEFT,BOTTOM,RIGHT -o DOCUMENT [--force]\n"
    "      Reads exactly that rectangle of the image (pixels, bottom and right\n"
    "      exclusive) into a new document that export can write back.\n"
    "      --force               replace DOCUMENT if it exists\n"
    "  acquire [IMAGE] [-o DOCUMENT] [--script FILE] [--memory-limit BYTES] [--force]\n"
    "      Lets you choose an image file (IMAGE is chosen already) and a\n"
    "      rectangle of it, and reads that rectangle into a new document. Without\n"
    "      -o the document is named after its title, in the current folder.\n"
    "      --memory-limit BYTES  memory the run may use besides the document\n"
    "      --force               replace DOCUMENT if it exists\n"
    "  select IMAGE [--script FILE]\n"
    "      Shows the selection dialog alone and prints the rectangle chosen as\n"
    "      TOP,LEFT,BOTTOM,RIGHT, the form extract --rect takes.\n"
    "  info IMAGE [--json]\n"
    "      Tells what Tessel sees in the image and whether acquire takes it.\n"
    "  about [--script FILE]\n"
    "      Shows the plug-in's about box until it is closed.\n"
    "  --help\n"
    "      Shows this text.\n"
    "\n"
    "A script is plain text, one command per line: click ITEM, key TEXT,\n"
    "press KEY..., wait TICKS, save FILE.png and the mouse commands down, drag\n"
    "and up H V. When it runs out, Return is pressed.\n"
    "\n"
    "Exit status: 0 done, 3 cancelled, 1 anything else.\n"
    "The plug-in module is $TESSEL_MODULE, or ../lib/tessel.plugin beside this program.\n";

std::string_view text_of(Text text) {
  switch (text) {
    case Text::kUsage: return kUsageText;
    case Text::kUnknownCommand: return "tessel: there is no command \"^0\" (see tessel --help)";
    case Text::kUnknownOption:
      return "tessel: ^0 does not know the option \"^1\" (see tessel --help)";
    case Text::kMissingValue: return "tessel: the option ^0 needs a value";
    case Text::kMissingDocument: return "tessel: name the document to ^0 (see tessel --help)";
    case Text::kExtraArgument: return "tessel: one document at a time; \"^0\" is one too many";
    case Text::kBadMemoryLimit:
      return "tessel: --memory-limit takes a number of bytes from 1 to 2147483647, not \"^0\"";
    case Text::kDocumentMissing: return "tessel: there is no document ^0";
    case Text::kDocumentUnreadable: return "tessel: ^0 cannot be read as a TIFF file";
    case Text::kDocumentUnsupported:
      return "tessel: ^0 is not a document Tessel can take: it needs 8-bit samples in "
             "grayscale, RGB, CMYK or Lab";
    case Text::kDocumentTooLarge:
      return "tessel: ^0 is ^1 x ^2 pixels; a document can have at most 32767 rows and columns";
    case Text::kModuleMissing:
      return "tessel: the plug-in module ^0 is not there (set TESSEL_MODULE)";
    case Text::kModuleUnusable: return "tessel: ^0 cannot be loaded as the plug-in module: ^1";
    case Text::kModuleNoResources:
      return "tessel: the resources of the plug-in module ^0 cannot be opened (error ^1)";
    case Text::kBandOutOfBounds: return "tessel: the plug-in asked for pixels outside the document";
    case Text::kStoreFailed:
      return "tessel: the plug-in's records could not be stored with ^0 (error ^1)";
    case Text::kExportFailed: return "tessel: ^0 was not written back (code ^1)";
    case Text::kExportStopped:
      return "tessel: stopped at your request; ^0 was written back only in part";
    case Text::kSavedBack:
      return "tessel: ^0 was written back into its image file and is recorded as saved";
    case Text::kNotDurable:
      return "tessel: the system could not finish writing ^0 to disk (error ^1); its new bands "
             "may be lost if the machine stops now. Free the disk or fix the fault, then export "
             "^2 again";
    case Text::kImageBusy:
      return "tessel: another program, perhaps another export, is writing ^0; nothing was written "
             "into it. Export ^1 again when that has finished";
    case Text::kExportRefused: return "tessel: ^0 was not written back";
    case Text::kBadRect:
      return "tessel: --rect takes TOP,LEFT,BOTTOM,RIGHT in pixels, such as 0,0,512,512; not "
             "\"^0\"";
    case Text::kExtractNeeds:
      return "tessel: extract needs an image, --rect TOP,LEFT,BOTTOM,RIGHT and -o DOCUMENT "
             "(see tessel --help)";
    case Text::kDocumentExists:
      return "tessel: ^0 exists already; choose another name or add --force to replace it";
    case Text::kRectOutsideImage: return "tessel: the rectangle ^1 is empty or reaches outside ^0";
    case Text::kImageUnreadable:
      return "tessel: ^0 cannot be read as an image Tessel knows (code ^1; see rastertool "
             "describe for details)";
    case Text::kDocumentNotWritten: return "tessel: ^0 could not be written (code ^1)";
    case Text::kExtracted: return "tessel: wrote ^0";
    case Text::kScriptUnreadable: return "tessel: the script ^0 cannot be read";
    case Text::kScriptBadLine:
      return "tessel: line ^1 of the script ^0 is not a command a script can give (see tessel "
             "--help)";
    case Text::kNoArguments: return "tessel: ^0 takes no file names; \"^1\" is one too many";
    case Text::kAboutFailed: return "tessel: the plug-in did not show its about box (code ^0)";
    case Text::kMissingImage: return "tessel: name the image to ^0 (see tessel --help)";
    case Text::kAcquireFailed: return "tessel: nothing was acquired (code ^0)";
    case Text::kAcquireStopped: return "tessel: stopped at your request; no document was written";
    case Text::kStripOutOfBounds:
      return "tessel: the plug-in delivered pixels outside the document it described";
    case Text::kAcquired: return "tessel: wrote ^0 (^1)";
    case Text::kNoTitle: return "untitled";
    case Text::kImageNotOpened:
      return "tessel: ^0 cannot be opened as an image Tessel knows (code ^1)";
    case Text::kInfoFormat: return "format      ^0";
    case Text::kInfoMode: return "mode        ^0, ^1 bits per sample";
    case Text::kInfoSize: return "size        ^0 x ^1 pixels, ^2 channels";
    case Text::kInfoResolution: return "resolution  ^0 x ^1 pixels per inch";
    case Text::kInfoLayout: return "layout      ^0";
    case Text::kInfoLayoutInterleaved: return "channels interleaved in each row";
    case Text::kInfoLayoutPlanar: return "one plane per channel";
    case Text::kInfoTiffLayout:
      return "tiff        compression ^0, planar configuration ^1, predictor ^2, fill order ^3";
    case Text::kInfoAcquirable: return "acquire     takes it";
    case Text::kInfoWarning:
      return "            but could not write it back later: the folder or volume may not change";
    case Text::kInfoRefused: return "acquire     refuses it with code ^0: ^1";
    case Text::kModeNames:
      return "bitmap|grayscale|indexed colour|RGB|CMYK|mode 5|mode 6|mode 7|duotone|Lab|"
             "mode 10|mode 11|unknown";
  }
  return {};
}

}  // namespace

std::string message(Text text, std::initializer_list<std::string_view> arguments) {
  const std::vector<std::string_view> values(arguments);
  const std::string_view pattern = text_of(text);
  std::string result;
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    const bool placeholder = pattern[at] == '^' && at + 1 < pattern.size() &&
                             pattern[at + 1] >= '0' && pattern[at + 1] <= '3';
    if (!placeholder) {
      result += pattern[at];
      continue;
    }
    const std::size_t index = std::size_t(pattern[++at] - '0');
    if (index < values.size()) result += values[index];
  }
  return result;
}

std::string text_from_mac_roman(const unsigned char* text) {
  std::string result;
  for (int i = 1; i <= text[0]; ++i) {
    const char32_t c = platform::mac_roman_to_unicode(text[i]);
    if (c < 0x80) {
      result += char(c);
    } else if (c < 0x800) {
      result += char(0xC0 | (c >> 6));
      result += char(0x80 | (c & 0x3F));
    } else {
      result += char(0xE0 | (c >> 12));
      result += char(0x80 | ((c >> 6) & 0x3F));
      result += char(0x80 | (c & 0x3F));
    }
  }
  return result;
}

}  // namespace tessel::host
