// See People.h.
#include "People.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <span>
#include <unordered_map>

#include "Dice.h"

namespace simulator {

namespace {

// A name as it is written and as it appears in a short name.
struct Name {
  const char* written;
  const char* ascii;
};

// Names that go together.
struct Culture {
  unsigned share;  // of a hundred people
  std::span<const Name> first;
  std::span<const Name> last;
};

constexpr Name EnglishFirst[] = {
    {"Alice", "alice"},     {"Benjamin", "benjamin"}, {"Charlotte", "charlotte"},
    {"Daniel", "daniel"},   {"Emily", "emily"},       {"Frank", "frank"},
    {"Grace", "grace"},     {"Henry", "henry"},       {"Isabel", "isabel"},
    {"Jack", "jack"},       {"Katherine", "kate"},    {"Liam", "liam"},
    {"Margaret", "maggie"}, {"Nathan", "nathan"},     {"Olivia", "olivia"},
    {"Patrick", "patrick"}, {"Rachel", "rachel"},     {"Samuel", "samuel"},
    {"Teresa", "teresa"},   {"William", "william"}};
constexpr Name EnglishLast[] = {{"Adams", "adams"},
                                {"Baker", "baker"},
                                {"Carter", "carter"},
                                {"Dixon", "dixon"},
                                {"Edwards", "edwards"},
                                {"Fisher", "fisher"},
                                {"Grant", "grant"},
                                {"Hughes", "hughes"},
                                {"Irwin", "irwin"},
                                {"Jones", "jones"},
                                {"Kelly", "kelly"},
                                {"Lewis", "lewis"},
                                {"Morgan", "morgan"},
                                {"Nolan", "nolan"},
                                {"O'Brien", "obrien"},
                                {"Parker", "parker"},
                                {"Quinn", "quinn"},
                                {"Reed", "reed"},
                                {"Smith-Jones", "smithjones"},
                                {"Turner", "turner"}};
constexpr Name WesternFirst[] = {
    {"Jürgen", "juergen"}, {"Zoë", "zoe"},  {"François", "francois"}, {"José", "jose"},
    {"Søren", "soeren"},   {"Åsa", "aasa"}, {"Günther", "guenther"},  {"Élodie", "elodie"},
    {"Íñigo", "inigo"},    {"João", "joao"}};
constexpr Name WesternLast[] = {{"Groß", "gross"},          {"Müller", "mueller"},
                                {"Lefèvre", "lefevre"},     {"Nuñez", "nunez"},
                                {"Ødegård", "odegard"},     {"Gonçalves", "goncalves"},
                                {"Björklund", "bjorklund"}, {"Château", "chateau"}};
constexpr Name EasternFirst[] = {{"Łukasz", "lukasz"}, {"Agnieszka", "agnieszka"}, {"Jiří", "jiri"},
                                 {"Zsófia", "zsofia"}, {"Şebnem", "sebnem"},       {"Ivo", "ivo"}};
constexpr Name EasternLast[] = {{"Wójcik", "wojcik"},       {"Dvořák", "dvorak"},
                                {"Kovács", "kovacs"},       {"Öztürk", "ozturk"},
                                {"Novaković", "novakovic"}, {"Őri", "ori"}};
constexpr Name CyrillicFirst[] = {
    {"Анна", "anna"}, {"Дмитрий", "dmitri"}, {"Олег", "oleg"}, {"Ярослава", "yaroslava"}};
constexpr Name CyrillicLast[] = {{"Іваненко", "ivanenko"},
                                 {"Соколов", "sokolov"},
                                 {"Ёлкина", "yolkina"},
                                 {"Петренко", "petrenko"}};
constexpr Name GreekFirst[] = {{"Γιώργος", "giorgos"}, {"Ελένη", "eleni"}};
constexpr Name GreekLast[] = {{"Παπαδόπουλος", "papadopoulos"}, {"Αγγέλου", "angelou"}};
constexpr Name JapaneseFirst[] = {{"太郎", "taro"}, {"花子", "hanako"}, {"さくら", "sakura"}};
constexpr Name JapaneseLast[] = {{"山田", "yamada"}, {"鈴木", "suzuki"}, {"髙橋", "takahashi"}};
constexpr Name ChineseFirst[] = {{"伟", "wei"}, {"秀英", "xiuying"}, {"𠮷祥", "jixiang"}};
constexpr Name ChineseLast[] = {{"王", "wang"}, {"李", "li"}, {"張", "zhang"}};
constexpr Name KoreanFirst[] = {{"민준", "minjun"}, {"서연", "seoyeon"}};
constexpr Name KoreanLast[] = {{"김", "kim"}, {"박", "park"}};
constexpr Name ArabicFirst[] = {{"فاطمة", "fatima"}, {"محمد", "mohammed"}};
constexpr Name ArabicLast[] = {{"الحسن", "alhassan"}, {"منصور", "mansour"}};
constexpr Name HebrewFirst[] = {{"דוד", "david"}, {"נועה", "noa"}};
constexpr Name HebrewLast[] = {{"כהן", "cohen"}, {"לוי", "levi"}};
constexpr Name IndianFirst[] = {{"प्रिया", "priya"}, {"ஆனந்த்", "anand"}};
constexpr Name IndianLast[] = {{"शर्मा", "sharma"}, {"குமார்", "kumar"}};

constexpr Culture Cultures[] = {{56, EnglishFirst, EnglishLast}, {16, WesternFirst, WesternLast},
                                {8, EasternFirst, EasternLast},  {5, CyrillicFirst, CyrillicLast},
                                {2, GreekFirst, GreekLast},      {3, JapaneseFirst, JapaneseLast},
                                {3, ChineseFirst, ChineseLast},  {2, KoreanFirst, KoreanLast},
                                {2, ArabicFirst, ArabicLast},    {2, HebrewFirst, HebrewLast},
                                {1, IndianFirst, IndianLast}};

constexpr const char* Departments[] = {"Sales",     "Legal",   "Engineering", "Finance",
                                       "Personnel", "Support", "Köln Büro",   "東京支店"};

const Culture& cultureOf(std::size_t index, Dice& dice) {
  // The first people show every script, so that a small partition has them too.
  if (index < std::size(Cultures)) return Cultures[index];
  std::uint64_t share = dice.below(100);
  for (const Culture& culture : Cultures) {
    if (share < culture.share) return culture;
    share -= culture.share;
  }
  return Cultures[0];
}

// "A." to "Z.", then "AA." and so on: tells namesakes apart.
std::string initials(std::size_t number) {
  std::string text;
  for (; number > 0; number = (number - 1) / 26)
    text.insert(text.begin(), static_cast<char>('A' + (number - 1) % 26));
  return text + ".";
}

// Counts how often each text has been used before.
class Namesakes {
 public:
  std::size_t countBefore(const std::string& text) { return used_[text]++; }

 private:
  std::unordered_map<std::string, std::size_t> used_;
};

}  // namespace

std::size_t departmentsKnown() {
  return std::size(Departments);
}

std::vector<Person> inventPeople(const PeoplePlan& plan, std::uint64_t seed) {
  const std::span departments(Departments, plan.departments);
  std::vector<MailFileForm> forms(plan.mailboxes, MailFileForm::Text);
  forms.insert(forms.end(), 3 + plan.mailboxes / 50, MailFileForm::Absent);
  forms.insert(forms.end(), 2, MailFileForm::List);
  forms.push_back(MailFileForm::Number);
  if (plan.people) forms.resize(*plan.people, MailFileForm::Text);

  Dice dice(seed, Dice::Stream::People, 0);
  Namesakes fullNames;
  Namesakes shortNames;
  std::vector<Person> people;
  people.reserve(forms.size());
  for (const MailFileForm form : forms) {
    const Culture& culture = cultureOf(people.size(), dice);
    const Name& first = dice.pick(culture.first);
    const Name& last = dice.pick(culture.last);
    Person person;
    person.firstName = first.written;
    person.lastName = last.written;
    if (const std::size_t namesakes = fullNames.countBefore(person.commonName()))
      person.firstName += " " + initials(namesakes);
    person.shortName = std::string(1, first.ascii[0]) + last.ascii;
    if (const std::size_t namesakes = shortNames.countBefore(person.shortName))
      person.shortName += std::to_string(namesakes + 1);
    person.department = dice.pick(departments);
    if (people.size() < departments.size()) person.department = departments[people.size()];
    person.mailFileForm = form;
    if (form == MailFileForm::Text) person.mailbox = "mail/" + person.shortName + ".nsf";
    people.push_back(std::move(person));
  }
  return people;
}

}  // namespace simulator
