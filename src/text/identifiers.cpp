#include "text/identifiers.h"

namespace tarvex {

bool hasForm(QStringView text, IdentifierForm form) {
  for (const CharacterRun &run : form) {
    int count = 0;
    while (count < run.most && count < text.size() && run.characters.contains(text[count])) {
      ++count;
    }
    if (count < run.least) {
      return false;
    }
    text = text.sliced(count);
  }
  return text.isEmpty();
}

}  // namespace tarvex
