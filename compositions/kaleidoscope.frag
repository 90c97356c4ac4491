#version 330 core

in vec2 uv;
out vec4 pixel;

uniform sampler2D image;
uniform int segments;
uniform float angle;
uniform float zoom;
uniform vec2 center;
uniform vec4 tint;

const float PI = 3.14159265;

void main() {
  vec2 size = vec2(textureSize(image, 0));
  vec2 place = (uv - center) * vec2(size.x / size.y, 1.0);
  float wedge = PI / float(max(segments, 1));
  float turned = mod(atan(place.y, place.x) + angle, 2.0 * wedge);
  float folded = abs(turned - wedge) + angle * 0.5;
  vec2 seen = 0.5 + length(place) * zoom * vec2(cos(folded), sin(folded)) * vec2(size.y / size.x, 1.0);
  // Mirrored at the edges, so that no wedge runs out of picture.
  seen = 1.0 - abs(mod(seen, 2.0) - 1.0);
  vec4 color = texture(image, seen);
  float shade = 1.0 - 0.35 * smoothstep(0.2, 0.9, length(place));
  pixel = vec4(color.rgb * tint.rgb * shade, color.a);
}
