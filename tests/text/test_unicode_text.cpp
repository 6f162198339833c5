#include <QTest>

#include "text/unicode_text.h"

using namespace tarvex;

class TestUnicodeText : public QObject {
  Q_OBJECT

 private slots:
  void charactersAreGraphemeClusters_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("characters");
    const auto row = [](const char *name, const QStringList &characters) {
      QTest::newRow(name) << characters.join(QString()) << characters;
    };
    row("none", {});
    row("ASCII", {"a", "b", "\r\n", "\n"});
    row("combining", {"e\u0301", "x", "n\u0303\u0323"});
    row("families and flags", {"👨‍👩‍👧", "🇩🇪", "🇫🇷", "👍🏽"});
    row("Hangul", {"각", "나"});
    row("spacing marks", {"कि", "ந"});
    row("many marks", {"o" + QString(100, QChar(0x301)), "z"});
    row("pairs at every distance", {QString(31, u'\u0301').prepend(u'o'), "😀", "o\u0301"});
  }
  void charactersAreGraphemeClusters() {
    QFETCH(QString, text);
    QFETCH(QStringList, characters);
    QStringList found;
    forEachCharacter(text, [&](QStringView character) {
      found.append(character.toString());
      return true;
    });
    QCOMPARE(found, characters);
    for (int count = 0; count <= characters.size() + 1; ++count) {
      QCOMPARE(firstCharacters(text, count).toString(),
               QStringList(characters.mid(0, count)).join(QString()));
    }
  }

  void beginningsAndEndsAreWholeCharacters() {
    QVERIFY(beginsWith("abc", "ab"));
    QVERIFY(beginsWith("abc", "abc"));
    QVERIFY(!beginsWith("ab\u0301c", "ab"));
    QVERIFY(!beginsWith("ab\u200D", "ab"));
    QVERIFY(!beginsWith("ab\r\n", "ab\r"));
    QVERIFY(endsWith("abc", "bc"));
    QVERIFY(endsWith("é…bc", "…bc"));
    QVERIFY(endsWith("", ""));
    QVERIFY(!endsWith("\u0600bc", "bc"));  // U+0600 joins the next character
    QCOMPARE(replacedEverywhere(u"a-a-a\u0301-a", u"a", u"xy"), u"xy-xy-a\u0301-xy");
    QCOMPARE(replacedEverywhere(u"aaa", u"aa", u""), u"a");
  }

  void numericCharacters() {
    for (const QStringView numeric :
         {u"0", u"9", u"²", u"½", u"٣", u"Ⅷ", u"三", u"𝟙", u"1\u20E3"}) {
      QVERIFY2(isNumeric(numeric), numeric.toUtf8());
    }
    for (const QStringView other : {u".", u"-", u"%", u"a", u"😀", u" "}) {
      QVERIFY2(!isNumeric(other), other.toUtf8());
    }
  }

  void trimming() {
    const QString inside = QStringLiteral("a \u2003 b");
    for (const QStringView white : {u" ", u"\t", u"\n", u"\v", u"\f", u"\r", u"\u0085", u"\u00A0",
                                    u"\u1680", u"\u2028", u"\u2029", u"\u202F", u"\u3000"}) {
      const QString text = white + inside + white;
      QCOMPARE(trimmed(text.toStdString()), inside.toStdString());
      const bool isSpace = white != u"\u2028" && white != u"\u2029" &&
                           (white == u"\t" || white[0].unicode() == u' ' || white[0] > u'\u0085');
      QCOMPARE(trimmedOfSpaces(text).size() == inside.size(), isSpace);
    }
    for (const char32_t black : U"\u200B\uFEFF\u0008\u001C\u180E\u2060\u2030àÅ") {  // and NUL
      const std::string text = QString::fromUcs4(&black, 1).toStdString();
      QCOMPARE(trimmed(text), text);
    }
    QVERIFY(trimmed(" \u2003\n").empty());
  }
};

QTEST_APPLESS_MAIN(TestUnicodeText)
#include "test_unicode_text.moc"
